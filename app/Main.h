// The application object: command line, signal wiring, and the run.
#ifndef VANTORIX_MAIN_H
#define VANTORIX_MAIN_H

#include <QObject>

#include "QuorvaleDiscovery.h"
#include "UpdateManager.h"

class QApplication;
class SignalNotifier;

class Main : public QObject {
    Q_OBJECT

public:
    explicit Main(QApplication& app);
    ~Main() override;

    // "--quiet"/"-q" and "--daemon"/"-d", exact and case-sensitive, over every
    // argument including the program name. Flags are only ever set.
    void parseArguments();
    // The process exit status.
    int run();

    QApplication& application;
    UpdateManager updateManager;
    QuorvaleNotificationHandle* notificationHandle;  // written by daemon mode only
    SignalNotifier* terminateNotifier;
    SignalNotifier* interruptNotifier;
    SignalNotifier* hangupNotifier;
    bool daemon;
    bool quiet;
};

#endif
