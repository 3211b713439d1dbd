#include "ChannelView.h"

#include <pthread.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace hotplugtest {

namespace {
const char* const kPrefixes[3] = {"dv", "card", "io"};
}  // namespace

int ChannelView::lock()
{
    pthread_mutex_t* mutex = m_raw.mutex();
    const int result = pthread_mutex_lock(mutex);
    if (result == EOWNERDEAD)
        pthread_mutex_consistent(mutex);
    return result;
}

void ChannelView::unlock() { pthread_mutex_unlock(m_raw.mutex()); }

ChannelView::Snapshot ChannelView::snapshot()
{
    using discoverytest::expectedLayout;
    Snapshot s;
    lock();
    s.initState = m_raw.u32(expectedLayout().initState);
    for (int index = 0; index < 3; ++index)
        s.masks[index] = m_raw.mask(index);
    s.writeIndex = int32_t(m_raw.u32(expectedLayout().writeIndex));
    for (int slot = 0; slot < discoverytest::kRingSlots; ++slot)
        s.ring.push_back(std::string((m_raw.eventFlags(slot) & 1) != 0 ? "+" : "-") + m_raw.eventPrefix(slot)
                         + std::to_string(m_raw.eventUnit(slot)));
    unlock();
    return s;
}

std::set<std::string> ChannelView::Snapshot::present() const
{
    std::set<std::string> names;
    for (int bit = 0; bit < 192; ++bit)
        if ((masks[bit / 64] >> (bit % 64) & 1) != 0)
            names.insert(kPrefixes[bit / 64] + std::to_string(bit % 64));
    return names;
}

std::vector<std::string> ChannelView::Snapshot::lastEvents(int count) const
{
    std::vector<std::string> events;
    for (int i = count; i > 0; --i)
        events.push_back(ring[size_t((writeIndex - i + discoverytest::kRingSlots * 2) % discoverytest::kRingSlots)]);
    return events;
}

std::vector<std::string> ChannelView::Snapshot::eventsFrom(int from) const
{
    return lastEvents((writeIndex - from + discoverytest::kRingSlots) % discoverytest::kRingSlots);
}

ChannelView::Snapshot ChannelView::awaitEvents(int from, const std::vector<std::string>& expected)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    Snapshot s = snapshot();
    while (s.eventsFrom(from) != expected && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        s = snapshot();
    }
    return s;
}

}  // namespace hotplugtest
