// Decides per card whether to update, asks the user, runs the update and
// reports the outcome. Arrivals from the discovery listener thread are queued
// here and drained on the GUI thread.
#ifndef VANTORIX_UPDATE_MANAGER_H
#define VANTORIX_UPDATE_MANAGER_H

#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>

#include "CheckVersionPCITool.h"
#include "Device.h"
#include "QuorvaleTypes.h"

class UpdateManager : public QObject {
    Q_OBJECT

public:
    UpdateManager();

    static QString GetUpdaterPath();

    // Fills `device` from the updater's status answer; true when the card
    // needs an update. False, with `device` untouched, when the card's path
    // cannot be read.
    bool checkForUpdate(QuorvaleInstanceRec* instance, Device& device);
    // Prompt, and update if asked to: -1 failed, 0 nothing done, 1 updated.
    int update(const Device& device);

    // The arrival callback handed to the device library; `context` is the
    // manager. Runs on the listener thread and owns `instance`.
    static void DeviceArrived(QuorvaleInstanceRec* instance, void* context);
    void deviceArrived(QuorvaleInstanceRec* instance);

    CheckVersionPCITool versionTool;
    QMutex queueMutex;
    QList<Device> deviceQueue;
    bool updateRunning;

signals:
    void runUpdate();

public slots:
    void runUpdateSlot();
};

#endif
