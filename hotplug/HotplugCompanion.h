// The companion service: joins (or creates) the discovery channel, brings it
// in line with the cards present, then announces every card that udev
// reports plugged in or removed until a termination signal.
#ifndef QUORVALE_HOTPLUG_COMPANION_H
#define QUORVALE_HOTPLUG_COMPANION_H

#include <cstdio>
#include <string>

#include "CardAnnouncer.h"
#include "QuorvaleDeviceDiscoveryNotifier.h"
#include "UdevNodeMonitor.h"

class HotplugCompanion {
public:
    // Announcements are written to `log` when it is not null.
    explicit HotplugCompanion(FILE* log = nullptr);
    ~HotplugCompanion();
    HotplugCompanion(const HotplugCompanion&) = delete;
    HotplugCompanion& operator=(const HotplugCompanion&) = delete;

    // Takes SIGTERM and SIGINT as events, connects to the channel, starts
    // watching udev and reconciles once. False, with `error` set, when the
    // service cannot work.
    bool start(std::string& error);
    // Announces node events until SIGTERM or SIGINT (then true), or until
    // the udev monitor fails (false, with `error` set). Sleeps in between.
    bool run(std::string& error);

private:
    void handle(const UdevNodeMonitor::Event& event);
    void report(const CardAnnouncer::Announcement& announcement, const char* path);

    FILE* m_log;
    QuorvaleDeviceDiscoveryNotifier m_notifier;
    CardAnnouncer m_announcer;
    UdevNodeMonitor m_monitor;
    int m_signalFd = -1;
};

#endif
