// Runs the external command-line firmware updater and reads its answers.
#ifndef VANTORIX_CHECKVERSIONPCITOOL_H
#define VANTORIX_CHECKVERSIONPCITOOL_H

#include <QList>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <cstdint>

#include "Device.h"
#include "UpdaterOutput.h"

class CheckVersionPCITool : public QObject {
    Q_OBJECT

public:
    // The owner decides which updater runs; this class never looks it up.
    explicit CheckVersionPCITool(const QString& updaterPath, QObject* parent = nullptr);
    ~CheckVersionPCITool() override;

    // Blocking calls: each waits up to 30 s for its own fresh updater process.
    void checkDevice(const char* path, Device& device);
    void checkDevices(QList<Device>& devices);
    void disableVersionCheck(const Device& device);

    // Returns at once; progress and the end arrive as signals through the
    // caller's event loop.
    void updateFirmware(const Device& device);

signals:
    void updateProgress(double percent);
    void updateComplete(bool success);

private slots:
    void updateProcessOutput();
    void updateCompleted(int exitCode, QProcess::ExitStatus exitStatus);

private:
    static constexpr int kWaitMilliseconds = 30000;
    QProcess* startUpdater(const QStringList& arguments) const;

    QString m_updaterPath;
    QProcess* m_updateProcess = nullptr;
    updateroutput::ProgressLine m_progressLine;
};

#endif
