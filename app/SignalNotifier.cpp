#include "SignalNotifier.h"

#include <csignal>
#include <cstring>

#include "SignalManager.h"

SignalManager* SignalNotifier::s_manager = nullptr;

SignalNotifier::SignalNotifier(int number, QObject* parent)
    : QObject(parent), signalNumber(number)
{
    if (!s_manager)
        s_manager = new SignalManager();
    s_manager->notifiers.append(this);

    // No SA_RESTART on purpose: a blocking call interrupted by the signal
    // returns EINTR instead of hiding the signal from the event loop.
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = SignalManager::Handle;
    sigaction(signalNumber, &action, nullptr);
}

void SignalNotifier::raise(int)
{
    emit raised();
}
