// Process-wide half of the bridge from POSIX signals to the Qt event loop.
#ifndef VANTORIX_SIGNAL_MANAGER_H
#define VANTORIX_SIGNAL_MANAGER_H

#include <QList>
#include <QObject>

class QSocketNotifier;
class SignalNotifier;

// The handler only writes the signal number into a pipe; the read end wakes
// the GUI thread, which raises every registered notifier.
class SignalManager : public QObject {
    Q_OBJECT

public:
    SignalManager();

    // The installed POSIX handler: one write of the number, nothing else.
    static void Handle(int sig);

    QSocketNotifier* socketNotifier;
    QList<SignalNotifier*> notifiers;

    // [0] read end, [1] write end. Never closed.
    static int s_pipes[2];

public slots:
    void handler(int fd);
};

#endif
