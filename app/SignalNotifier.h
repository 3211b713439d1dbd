// One caught POSIX signal, delivered as the Qt signal raised().
#ifndef VANTORIX_SIGNAL_NOTIFIER_H
#define VANTORIX_SIGNAL_NOTIFIER_H

#include <QObject>

class SignalManager;

class SignalNotifier : public QObject {
    Q_OBJECT

public:
    // Create on the GUI thread before any event loop runs.
    SignalNotifier(int signalNumber, QObject* parent);

    // Emits raised(); the argument is not used.
    void raise(int);

    int signalNumber;

    // Created with the first notifier, never destroyed.
    static SignalManager* s_manager;

signals:
    void raised();
};

#endif
