// hostile_channel_user: what any local user can do to the discovery channel,
// whose object every user may write. It maps the existing object directly.
//
//   hostile_channel_user write SEED SECONDS DECOY_PREFIX
//   hostile_channel_user hold
//
// write: for SECONDS, writes garbage everywhere but into the mutex and the
// condition variable (whose corruption no user of pthreads survives): random
// bytes, write indexes outside the ring, node prefixes that climb out of the
// device directory with "../" (DECOY_PREFIX with unit 0 among them), 15-byte
// prefixes without a NUL, units past the presence masks, and initState 0, 1
// and 2 in turn with arbitrary values between. Nodes that cards can have
// (a known prefix with a unit below 64) it leaves to the posters: the
// removal of a present card costs every listener a descriptor, by the
// family's design, and that is not what this writer is about. Now and then it takes the
// mutex as the family does, fills the ring and wakes the listeners, so that
// they read its garbage as fresh events. It ends leaving initState ready (so
// that later posters can still join) and prints one line of counts:
//   "writes N wakeups N decoys N initstates N"
//
// hold: takes the mutex, prints "holding" and keeps it until killed.
//
// Exits 2 when the object cannot be mapped.
#include <errno.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "QuorvaleDeviceNode.h"
#include "RawSegment.h"

using discoverytest::expectedLayout;
using discoverytest::kEventSize;
using discoverytest::kPrefixSize;
using discoverytest::kRingSlots;
using discoverytest::RawSegment;

namespace {

int lockAsTheFamilyDoes(RawSegment& segment)
{
    const int result = pthread_mutex_lock(segment.mutex());
    if (result == EOWNERDEAD)
        return pthread_mutex_consistent(segment.mutex());
    return result;
}

class Vandal {
public:
    Vandal(RawSegment& segment, unsigned seed, std::string decoyPrefix)
        : m_segment(segment), m_random(seed), m_decoy(std::move(decoyPrefix))
    {
    }

    void run(int seconds)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        while (std::chrono::steady_clock::now() < end) {
            if (below(16) == 0)
                lockedBurst();
            else
                oneWrite();
            // Paced, so that the processes under attack share the machine.
            usleep(100);
        }
        m_segment.setU32(expectedLayout().initState, 1);
        printf("writes %lu wakeups %lu decoys %lu initstates %lu\n", m_writes, m_wakeups, m_decoys, m_initStates);
    }

private:
    uint32_t below(uint32_t bound) { return std::uniform_int_distribution<uint32_t>(0, bound - 1)(m_random); }
    uint8_t anyByte() { return uint8_t(below(256)); }

    void oneWrite()
    {
        ++m_writes;
        switch (below(7)) {
        case 0: randomBytes(); break;
        case 1: m_segment.setU32(expectedLayout().writeIndex, outOfRingIndex()); break;
        case 2: m_segment.setU32(expectedLayout().writeIndex, below(kRingSlots)); break;
        case 3: nextInitState(); break;
        case 4: randomMask(); break;
        default: garbageEvent(int(below(kRingSlots))); break;
        }
    }

    // The ring filled under the mutex and the listeners woken, as a poster
    // would: each of them reads a lap of garbage.
    void lockedBurst()
    {
        if (lockAsTheFamilyDoes(m_segment) != 0)
            return;
        for (int slot = 0; slot < kRingSlots; ++slot)
            garbageEvent(slot);
        m_segment.setU32(expectedLayout().writeIndex, below(4) == 0 ? outOfRingIndex() : below(kRingSlots));
        pthread_cond_broadcast(m_segment.condition());
        pthread_mutex_unlock(m_segment.mutex());
        ++m_wakeups;
    }

    // Anywhere but inside the mutex and the condition variable.
    void randomBytes()
    {
        const auto& layout = expectedLayout();
        const bool head = below(8) == 0;
        const size_t from = head ? layout.initState : layout.presence;
        const size_t to = head ? layout.mutex : layout.size;
        const size_t start = from + below(uint32_t(to - from));
        const size_t count = 1 + below(uint32_t(to - start));
        for (size_t i = 0; i < count; ++i)
            m_segment.setByte(start + i, anyByte());
    }

    uint32_t outOfRingIndex()
    {
        static const int32_t kIndexes[] = {kRingSlots, kRingSlots + 1, -1, INT32_MIN, INT32_MAX, 100000, -kRingSlots};
        const size_t pick = below(sizeof kIndexes / sizeof kIndexes[0] + 1);
        if (pick == sizeof kIndexes / sizeof kIndexes[0]) {
            const uint32_t any = uint32_t(m_random());
            return int32_t(any) >= 0 && int32_t(any) < kRingSlots ? any + kRingSlots : any;
        }
        return uint32_t(kIndexes[pick]);
    }

    void nextInitState()
    {
        // The three values that mean something, then any other.
        const uint32_t step = m_initStates++ % 4;
        m_segment.setU32(expectedLayout().initState, step < 3 ? step : uint32_t(m_random()));
    }

    void randomMask()
    {
        const size_t at = expectedLayout().presence + 8 * below(3);
        for (size_t i = 0; i < 8; ++i)
            m_segment.setByte(at + i, anyByte());
    }

    void garbageEvent(int slot)
    {
        char prefix[kPrefixSize];
        uint8_t unit = anyByte();
        memset(prefix, 0, sizeof prefix);
        switch (below(5)) {
        case 0:  // the decoy, which the test watches
            strncpy(prefix, m_decoy.c_str(), sizeof prefix - 1);
            unit = 0;
            ++m_decoys;
            break;
        case 1: {  // climbing out of the directory
            std::string climb;
            while (climb.size() + 3 < sizeof prefix - 1 && below(3) != 0)
                climb += "../";
            climb += below(2) == 0 ? "tmp" : "etc/x";
            strncpy(prefix, climb.c_str(), sizeof prefix - 1);
            break;
        }
        case 2: {  // fifteen bytes without a NUL, starting like a known prefix
            const char* known = QuorvaleDeviceNode::driverNameByIndex(int(below(3)));
            memset(prefix, 'A' + int(below(26)), sizeof prefix);
            memcpy(prefix, known, strlen(known));
            break;
        }
        case 3:  // a known prefix with a unit past its mask
            strncpy(prefix, QuorvaleDeviceNode::driverNameByIndex(int(below(3))), sizeof prefix - 1);
            unit = uint8_t(64 + below(192));
            break;
        default:
            for (char& c : prefix)
                c = char(anyByte());
            break;
        }
        const size_t at = expectedLayout().events + kEventSize * size_t(slot);
        m_segment.setByte(at, anyByte());
        for (size_t i = 0; i < sizeof prefix; ++i)
            m_segment.setByte(at + 1 + i, uint8_t(prefix[i]));
        m_segment.setByte(at + 1 + kPrefixSize, unit);
    }

    RawSegment& m_segment;
    std::mt19937 m_random;
    const std::string m_decoy;
    unsigned long m_writes = 0, m_wakeups = 0, m_decoys = 0, m_initStates = 0;
};

}  // namespace

int main(int argc, char** argv)
{
    RawSegment segment;
    if (!segment.ok()) {
        fprintf(stderr, "hostile_channel_user: cannot map %s\n", expectedLayout().name);
        return 2;
    }
    if (argc == 2 && strcmp(argv[1], "hold") == 0) {
        if (lockAsTheFamilyDoes(segment) != 0)
            return 1;
        printf("holding\n");
        fflush(stdout);
        for (;;)
            pause();
    }
    if (argc == 5 && strcmp(argv[1], "write") == 0) {
        Vandal(segment, unsigned(strtoul(argv[2], nullptr, 10)), argv[4]).run(atoi(argv[3]));
        return 0;
    }
    fprintf(stderr, "usage: hostile_channel_user write SEED SECONDS DECOY_PREFIX | hold\n");
    return 2;
}
