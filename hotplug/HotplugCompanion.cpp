#include "HotplugCompanion.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

HotplugCompanion::HotplugCompanion(FILE* log) : m_log(log), m_announcer(m_notifier) {}

HotplugCompanion::~HotplugCompanion()
{
    if (m_signalFd != -1)
        close(m_signalFd);
    // The channel outlives us: disconnecting only unmaps it.
    m_notifier.disconnect();
}

bool HotplugCompanion::start(std::string& error)
{
    // Read from a descriptor instead of a handler, so that a signal never
    // interrupts a post while it holds the channel's mutex.
    sigset_t termination;
    sigemptyset(&termination);
    sigaddset(&termination, SIGTERM);
    sigaddset(&termination, SIGINT);
    if (sigprocmask(SIG_BLOCK, &termination, nullptr) != 0
        || (m_signalFd = signalfd(-1, &termination, SFD_CLOEXEC | SFD_NONBLOCK)) == -1) {
        error = std::string("cannot take termination signals: ") + strerror(errno);
        return false;
    }
    if (!m_notifier.connect()) {
        error = std::string("cannot create or join the discovery channel ") + kDiscoverySegmentName;
        return false;
    }
    // Listening starts before the reconciliation, so that nothing plugged
    // meanwhile is missed; events it already covered are dropped by the
    // channel as repeats.
    if (!m_monitor.open()) {
        error = "cannot listen to udev events";
        return false;
    }
    for (const CardAnnouncer::Announcement& announcement : m_announcer.reconcile())
        report(announcement, nullptr);
    return true;
}

bool HotplugCompanion::run(std::string& error)
{
    pollfd watched[2] = {{m_signalFd, POLLIN, 0}, {m_monitor.descriptor(), POLLIN, 0}};
    for (;;) {
        if (poll(watched, 2, -1) == -1) {
            if (errno == EINTR)
                continue;
            error = std::string("cannot wait for events: ") + strerror(errno);
            return false;
        }
        if (watched[0].revents != 0) {
            signalfd_siginfo signal;
            if (read(m_signalFd, &signal, sizeof signal) == ssize_t(sizeof signal))
                return true;
        }
        if (watched[1].revents & POLLIN) {
            UdevNodeMonitor::Event event;
            while (m_monitor.next(event))
                handle(event);
            // What the lost events said is read from /dev/vantorix instead.
            if (m_monitor.eventsLost())
                for (const CardAnnouncer::Announcement& announcement : m_announcer.reconcile())
                    report(announcement, nullptr);
        } else if (watched[1].revents != 0) {
            error = "lost the udev monitor";
            return false;
        }
    }
}

void HotplugCompanion::handle(const UdevNodeMonitor::Event& event)
{
    CardAnnouncer::Announcement announcement{};
    const bool announced = event.added ? m_announcer.arrived(event.path.c_str(), &announcement)
                                       : m_announcer.removed(event.path.c_str(), &announcement);
    if (announced)
        report(announcement, event.path.c_str());
}

void HotplugCompanion::report(const CardAnnouncer::Announcement& announcement, const char* path)
{
    if (m_log == nullptr)
        return;
    fprintf(m_log, "%s %s%u", announcement.arrived ? "arrival" : "removal", announcement.name.namePrefix,
            unsigned(announcement.name.unitNumber));
    if (path != nullptr)
        fprintf(m_log, " (%s)", path);
    fputc('\n', m_log);
    fflush(m_log);
}
