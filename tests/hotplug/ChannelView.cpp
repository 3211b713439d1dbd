#include "ChannelView.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

namespace hotplugtest {

namespace {

struct Layout {
    size_t initState, mutex, presence, events, writeIndex, size;
    const char* name;
};

const Layout& layout()
{
#if defined(__i386__)
    static const Layout l{0, 4, 76, 100, 440, 444, "/com_vantorixlabs_QuorvaleDiscoveryNotifier"};
#else
    static const Layout l{0, 8, 96, 120, 460, 464, "/com_vantorixlabs_QuorvaleDiscoveryNotifier_x86_64"};
#endif
    return l;
}

constexpr int kSlots = 20;
constexpr size_t kEventSize = 17;
const char* const kPrefixes[3] = {"dv", "card", "io"};

}  // namespace

const char* ChannelView::objectName() { return layout().name; }

bool ChannelView::exists()
{
    const int fd = shm_open(layout().name, O_RDONLY, 0);
    if (fd == -1)
        return false;
    close(fd);
    return true;
}

void ChannelView::remove() { shm_unlink(layout().name); }

ChannelView::ChannelView()
{
    m_fd = shm_open(layout().name, O_RDWR, 0);
    if (m_fd == -1)
        return;
    void* mapping = mmap(nullptr, layout().size, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
    if (mapping != MAP_FAILED)
        m_bytes = static_cast<uint8_t*>(mapping);
}

ChannelView::~ChannelView()
{
    if (m_bytes != nullptr)
        munmap(m_bytes, layout().size);
    if (m_fd != -1)
        close(m_fd);
}

int ChannelView::lock()
{
    auto* mutex = reinterpret_cast<pthread_mutex_t*>(m_bytes + layout().mutex);
    const int result = pthread_mutex_lock(mutex);
    if (result == EOWNERDEAD)
        pthread_mutex_consistent(mutex);
    return result;
}

void ChannelView::unlock() { pthread_mutex_unlock(reinterpret_cast<pthread_mutex_t*>(m_bytes + layout().mutex)); }

ChannelView::Snapshot ChannelView::snapshot()
{
    Snapshot s;
    lock();
    memcpy(&s.initState, m_bytes + layout().initState, 4);
    memcpy(s.masks, m_bytes + layout().presence, sizeof s.masks);
    int32_t writeIndex = 0;
    memcpy(&writeIndex, m_bytes + layout().writeIndex, 4);
    s.writeIndex = writeIndex;
    for (int slot = 0; slot < kSlots; ++slot) {
        const uint8_t* event = m_bytes + layout().events + kEventSize * size_t(slot);
        std::string prefix;
        for (size_t i = 1; i < 16 && event[i] != 0; ++i)
            prefix += char(event[i]);
        s.ring.push_back(std::string((event[0] & 1) != 0 ? "+" : "-") + prefix + std::to_string(event[16]));
    }
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
        events.push_back(ring[size_t((writeIndex - i + kSlots * 2) % kSlots)]);
    return events;
}

std::vector<std::string> ChannelView::Snapshot::eventsFrom(int from) const
{
    return lastEvents((writeIndex - from + kSlots) % kSlots);
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
