// Helpers of the discovery channel tests: helper processes, an independent
// raw view of the shared object, and counters of what a process holds.
#ifndef DISCOVERY_TEST_SUPPORT_H
#define DISCOVERY_TEST_SUPPORT_H

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/types.h>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "RawSegment.h"

namespace discoverytest {

constexpr unsigned kOwnerDiedBit = 0x40000000u;  // the kernel's robust-futex flag

struct Delivery {
    bool arrived = false;
    std::string node;
    long long nanoseconds = 0;
};

// Polls `condition` every millisecond until it holds or `timeoutMs` has
// passed; returns whether it held.
bool eventually(const std::function<bool()>& condition, int timeoutMs = 10000);

// Whether this process runs under qemu's user emulation (an i386 build on a
// kernel without 32-bit support). There the kernel never learns of the
// robust-futex list, so a dead holder's mutex is never handed on, and qemu
// runs threads of its own in the process.
bool runsUnderUserEmulation();

// A helper process of the device family (the discovery_peer program).
class Peer {
public:
    explicit Peer(const std::vector<std::string>& environment = {});
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void send(const std::string& line);
    // Sends a command and returns its answer ("" after the timeout).
    std::string ask(const std::string& command, int timeoutMs = 10000);
    // The next line that is not a delivery, "" after the timeout.
    std::string answer(int timeoutMs = 10000);
    bool nextDelivery(Delivery& delivery, int timeoutMs = 10000);
    // Deliveries up to and including the one of `node`.
    std::vector<Delivery> deliveriesThrough(const std::string& node, int timeoutMs = 10000);
    size_t pendingDeliveries() const { return m_deliveries.size(); }

    void signal(int number);
    // SIGSTOP, returning once every thread of the process has stopped: the
    // signal itself only asks for it, and a busy machine can leave the
    // helper running for a while after kill() returned. False after 10 s.
    bool stop();
    void resume() { signal(SIGCONT); }
    // Waits for the process to end; returns the wait status.
    int wait();
    // Sends "exit" and waits; true if it ended with status 0.
    bool finish();
    pid_t pid() const { return m_pid; }

private:
    bool pump(int timeoutMs);

    pid_t m_pid = -1;
    int m_toPeer = -1;
    int m_fromPeer = -1;
    bool m_ended = false;
    bool m_closed = false;
    int m_status = 0;
    std::string m_partial;
    std::deque<std::string> m_answers;
    std::deque<Delivery> m_deliveries;
};

struct ProcessHoldings {
    int threads, descriptors, mappings;
    int segmentMappings;  // mappings of the shared object
};

// The sanitizers' allocators map memory as they go: there only the
// mappings of the shared object itself can be counted exactly.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kAllMappingsCountable = false;
#else
constexpr bool kAllMappingsCountable = true;
#endif
ProcessHoldings processHoldings();
// The holdings once the thread count is `expectedThreads` (or after 5 s):
// pthread_join returns as soon as a thread has left user space, a moment
// before the kernel drops its task from /proc.
ProcessHoldings settledHoldings(int expectedThreads);

// Removes the shared object before and after each test: its name is global.
class DiscoveryTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        removeSegment();
        // Some runtimes (ThreadSanitizer's) start a thread of their own with
        // the first thread: let that happen before anything is counted.
        std::thread([] {}).join();
    }
    void TearDown() override { removeSegment(); }
};

}  // namespace discoverytest

#define SKIP_UNLESS_DEAD_HOLDERS_ARE_RECOVERED()                                   \
    if (discoverytest::runsUnderUserEmulation())                                  \
    GTEST_SKIP() << "a dead holder's mutex is never handed on under user emulation"

// Thread counts of this process, where they are ours alone.
#define EXPECT_THREADS(actual, expected)                                          \
    do {                                                                          \
        if (!discoverytest::runsUnderUserEmulation()) {                           \
            EXPECT_EQ(actual, expected);                                          \
        }                                                                         \
    } while (false)

#endif
