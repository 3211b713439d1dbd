// The events of device nodes in /dev/vantorix, as udev announces them once
// it has processed them (its rules have run and the node is in place).
#ifndef QUORVALE_UDEV_NODE_MONITOR_H
#define QUORVALE_UDEV_NODE_MONITOR_H

#include <string>

struct udev;
struct udev_monitor;

class UdevNodeMonitor {
public:
    struct Event {
        bool added;        // "add"; otherwise "remove"
        std::string path;  // the node, /dev/vantorix/...
    };

    UdevNodeMonitor() = default;
    ~UdevNodeMonitor();
    UdevNodeMonitor(const UdevNodeMonitor&) = delete;
    UdevNodeMonitor& operator=(const UdevNodeMonitor&) = delete;

    // Starts receiving; false when udev cannot be listened to.
    bool open();
    // Readable when events wait.
    int descriptor() const;
    // The next waiting add or remove of a character device node in
    // /dev/vantorix, skipping every other event; false when none waits.
    bool next(Event& event);
    // Whether events were lost since the last call (the socket's buffer
    // overflowed under a storm of events); clears the flag.
    bool eventsLost();

private:
    udev* m_udev = nullptr;
    udev_monitor* m_monitor = nullptr;
    bool m_lost = false;
};

#endif
