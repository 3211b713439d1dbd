#include "SignalManager.h"

#include <QSocketNotifier>
#include <unistd.h>

#include "SignalNotifier.h"

int SignalManager::s_pipes[2] = {-1, -1};

SignalManager::SignalManager() : QObject(nullptr), socketNotifier(nullptr)
{
    // Failures here would only mean that signals cannot end the program
    // through the event loop; nothing is reported.
    (void)!pipe(s_pipes);
    socketNotifier = new QSocketNotifier(s_pipes[0], QSocketNotifier::Read, this);
    connect(socketNotifier, SIGNAL(activated(int)), this, SLOT(handler(int)));
}

void SignalManager::Handle(int sig)
{
    // Signal context: async-signal-safe calls only.
    (void)!write(s_pipes[1], &sig, sizeof sig);
}

void SignalManager::handler(int fd)
{
    socketNotifier->setEnabled(false);
    int number = 0;
    // One record per activation; if more signals are waiting the pipe stays
    // readable and the notifier fires again.
    if (read(fd, &number, sizeof number) < 1) {
        socketNotifier->setEnabled(true);
        return;
    }
    // Every signal we catch means "quit", so which one it was does not matter.
    for (SignalNotifier* notifier : notifiers)
        notifier->raise(number);
    socketNotifier->setEnabled(true);
}
