// The discovery channel's shared object as the hotplug tests read it: events
// and presence as names, through the discovery tests' own mapping of it,
// independently of the code under test.
#ifndef HOTPLUG_CHANNEL_VIEW_H
#define HOTPLUG_CHANNEL_VIEW_H

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "RawSegment.h"

namespace hotplugtest {

class ChannelView {
public:
    // What the channel holds at one moment, read under its mutex.
    struct Snapshot {
        uint32_t initState = 0;
        uint64_t masks[3] = {0, 0, 0};
        int writeIndex = 0;
        std::vector<std::string> ring;  // 20 slots: "+dv5" (arrival), "-dv5" (removal)

        // The names of the set presence bits, "dv5", "card0", "io1".
        std::set<std::string> present() const;
        // The `count` events written before writeIndex, oldest first.
        std::vector<std::string> lastEvents(int count) const;
        // Events written from slot `from` up to writeIndex, oldest first.
        std::vector<std::string> eventsFrom(int from) const;
    };

    static bool exists() { return discoverytest::segmentExists(); }
    static void remove() { discoverytest::removeSegment(); }

    // Maps the existing object; ok() tells whether it could.
    bool ok() const { return m_raw.ok(); }
    // pthread_mutex_lock on the channel's mutex: 0, or EOWNERDEAD when its
    // holder died (the mutex is then made consistent again here).
    int lock();
    void unlock();
    // Locks, reads, unlocks.
    Snapshot snapshot();
    // Polls until the events from slot `from` are exactly `expected` (none
    // more), or 20 s have passed; returns the last snapshot.
    Snapshot awaitEvents(int from, const std::vector<std::string>& expected);

private:
    discoverytest::RawSegment m_raw;
};

}  // namespace hotplugtest

#endif
