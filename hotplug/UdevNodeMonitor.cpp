#include "UdevNodeMonitor.h"

#include <libudev.h>

#include <cerrno>
#include <cstring>

namespace {

const char kDevicePrefix[] = "/dev/vantorix/";
const int kReceiveBufferSize = 1 << 20;

bool isNodeEvent(udev_device* device, bool& added)
{
    const char* action = udev_device_get_action(device);
    const char* node = udev_device_get_devnode(device);
    const char* subsystem = udev_device_get_subsystem(device);
    if (action == nullptr || node == nullptr || strncmp(node, kDevicePrefix, sizeof kDevicePrefix - 1) != 0)
        return false;
    // Cards are character devices; a block device under the same folder is not ours.
    if (subsystem != nullptr && strcmp(subsystem, "block") == 0)
        return false;
    if (strcmp(action, "add") == 0)
        added = true;
    else if (strcmp(action, "remove") == 0)
        added = false;
    else
        return false;
    return true;
}

}  // namespace

UdevNodeMonitor::~UdevNodeMonitor()
{
    if (m_monitor != nullptr)
        udev_monitor_unref(m_monitor);
    if (m_udev != nullptr)
        udev_unref(m_udev);
}

bool UdevNodeMonitor::open()
{
    m_udev = udev_new();
    if (m_udev == nullptr)
        return false;
    // "udev", not "kernel": an event reaches us only after udev has
    // processed it, when the node exists with its final permissions.
    m_monitor = udev_monitor_new_from_netlink(m_udev, "udev");
    if (m_monitor == nullptr)
        return false;
    // Room for a burst; without the privilege to raise the limit the
    // system's default stays, and a loss is noticed by eventsLost().
    udev_monitor_set_receive_buffer_size(m_monitor, kReceiveBufferSize);
    return udev_monitor_enable_receiving(m_monitor) == 0;
}

int UdevNodeMonitor::descriptor() const
{
    return m_monitor != nullptr ? udev_monitor_get_fd(m_monitor) : -1;
}

bool UdevNodeMonitor::next(Event& event)
{
    // The monitor's socket does not block: a null device means none waits.
    while (udev_device* device = udev_monitor_receive_device(m_monitor)) {
        bool added = false;
        const bool ours = isNodeEvent(device, added);
        if (ours) {
            event.added = added;
            event.path = udev_device_get_devnode(device);
        }
        udev_device_unref(device);
        if (ours)
            return true;
    }
    if (errno == ENOBUFS)
        m_lost = true;
    return false;
}

bool UdevNodeMonitor::eventsLost()
{
    const bool lost = m_lost;
    m_lost = false;
    return lost;
}
