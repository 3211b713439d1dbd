// Dead lock holders, cancellation and the listener's life cycle.
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <chrono>
#include <future>

#include "QuorvaleAccess.h"
#include "DiscoveryTestSupport.h"
#include "FakeDeviceWorld.h"
#include "QuorvaleDeviceDiscoveryNotifier.h"
#include "SystemCallFaults.h"

using namespace discoverytest;

namespace {

class Recorder : public IQuorvaleDeviceDiscoveryNotifierDelegate {
public:
    void ProcessNotification(QuorvaleInstanceRec* device, bool arrived) override
    {
        if (arrived)
            ++arrivals;
        CloseDriverConnectionCore(device);
    }
    std::atomic<int> arrivals{0};
};

class DiscoveryFaultTest : public DiscoveryTest {
protected:
    // Waits until the listener has delivered `count` arrivals and gone back
    // into its condition wait, the only place where it gives the mutex back.
    void awaitWaitingListener(Recorder& recorder, int count)
    {
        eventually([&recorder, count] { return recorder.arrivals >= count; }, 5000);
        ASSERT_EQ(recorder.arrivals, count);
        ASSERT_EQ(notifier.lock(), 0);
        ASSERT_EQ(notifier.unlock(), 0);
    }

    // Connects, listens, and waits until the listener has delivered one
    // arrival and sits in its condition wait.
    void listenPastOneArrival(Recorder& recorder)
    {
        ASSERT_TRUE(notifier.connect());
        ASSERT_TRUE(notifier.waitForNotifications(&recorder));
        const QuorvaleDeviceNode first = fakeworld::parseNode("dv1");
        ASSERT_TRUE(notifier.notify(&first, true));
        awaitWaitingListener(recorder, 1);
    }

    // Another process joins and takes the mutex.
    static void lockIn(Peer& peer)
    {
        ASSERT_EQ(peer.ask("connect"), "connect 1");
        ASSERT_EQ(peer.ask("lock"), "lock 0");
    }

    QuorvaleDeviceDiscoveryNotifier notifier;
};

TEST_F(DiscoveryFaultTest, ProcessKilledHoldingTheMutexLeavesItToTheNextLocker)
{
    SKIP_UNLESS_DEAD_HOLDERS_ARE_RECOVERED();
    ASSERT_TRUE(notifier.connect());
    Peer holder;
    ASSERT_EQ(holder.ask("connect"), "connect 1");
    ASSERT_EQ(holder.ask("lock"), "lock 0");
    RawSegment raw;
    EXPECT_EQ(raw.u32(expectedLayout().mutex), uint32_t(holder.pid()));
    holder.signal(SIGKILL);
    ASSERT_TRUE(WIFSIGNALED(holder.wait()));
    EXPECT_NE(raw.u32(expectedLayout().mutex) & kOwnerDiedBit, 0u);

    const int recoveries = faults::consistentCalls();
    EXPECT_EQ(notifier.lock(), 0);  // EOWNERDEAD, made consistent
    EXPECT_EQ(faults::consistentCalls(), recoveries + 1);
    EXPECT_EQ(raw.u32(expectedLayout().mutex), uint32_t(syscall(SYS_gettid)));
    EXPECT_EQ(notifier.unlock(), 0);

    // And the channel carries on.
    Peer listener;
    ASSERT_EQ(listener.ask("connect"), "connect 1");
    ASSERT_EQ(listener.ask("listen"), "listen 1");
    const QuorvaleDeviceNode node = fakeworld::parseNode("dv3");
    EXPECT_TRUE(notifier.notify(&node, true));
    Delivery delivery;
    ASSERT_TRUE(listener.nextDelivery(delivery));
    EXPECT_EQ(delivery.node, "dv3");
    EXPECT_EQ(faults::consistentCalls(), recoveries + 1);
    EXPECT_TRUE(listener.finish());
}

TEST_F(DiscoveryFaultTest, PosterKilledHoldingTheMutexDoesNotSilenceTheListener)
{
    SKIP_UNLESS_DEAD_HOLDERS_ARE_RECOVERED();
    Recorder recorder;
    ASSERT_NO_FATAL_FAILURE(listenPastOneArrival(recorder));

    Peer poster;
    ASSERT_NO_FATAL_FAILURE(lockIn(poster));
    poster.signal(SIGKILL);
    poster.wait();

    // Whoever locks next recovers the mutex; afterwards the listener still
    // hears of arrivals.
    const QuorvaleDeviceNode second = fakeworld::parseNode("dv2");
    EXPECT_TRUE(notifier.notify(&second, true));
    awaitWaitingListener(recorder, 2);
    notifier.cancelWaitForNotifications();
}

// Stops the listener from another thread, so that a stop that never returns
// fails the test instead of hanging it.
bool cancelReturns(QuorvaleDeviceDiscoveryNotifier& notifier)
{
    auto stopping = std::async(std::launch::async, [&notifier] { notifier.cancelWaitForNotifications(); });
    return stopping.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
}

TEST_F(DiscoveryFaultTest, ListenerThatAHolderKeepsFromTheMutexIsLeftBehindWhenStopped)
{
    const unsigned patience = QuorvaleDeviceDiscoveryNotifier::cancelPatienceMilliseconds;
    QuorvaleDeviceDiscoveryNotifier::cancelPatienceMilliseconds = 300;
    const int threads = processHoldings().threads;
    Recorder recorder;
    ASSERT_NO_FATAL_FAILURE(listenPastOneArrival(recorder));

    Peer holder;
    ASSERT_NO_FATAL_FAILURE(lockIn(holder));
    // Cancelled in its condition wait, the listener must retake the mutex
    // before it can end, and the holder never gives it.
    const bool stopped = cancelReturns(notifier);
    if (!stopped)
        holder.signal(SIGKILL);
    ASSERT_TRUE(stopped);
    EXPECT_EQ(notifier.waitState, 0u);
    EXPECT_EQ(notifier.delegate, nullptr);
    notifier.disconnect();
    // The listener left behind still waits on the mutex inside the mapping.
    EXPECT_EQ(processHoldings().segmentMappings, 1);
    EXPECT_THREADS(processHoldings().threads, threads + 1);

    // Given the mutex at last, it hands it straight back and ends, delivering
    // nothing more.
    ASSERT_EQ(holder.ask("unlock"), "unlock 0");
    EXPECT_THREADS(settledHoldings(threads).threads, threads);
    Peer next;
    ASSERT_EQ(next.ask("connect"), "connect 1");
    EXPECT_EQ(next.ask("lock"), "lock 0");
    EXPECT_EQ(next.ask("unlock"), "unlock 0");
    EXPECT_EQ(recorder.arrivals, 1);
    EXPECT_TRUE(holder.finish());
    EXPECT_TRUE(next.finish());
    QuorvaleDeviceDiscoveryNotifier::cancelPatienceMilliseconds = patience;
}

TEST_F(DiscoveryFaultTest, ListenerThatNeverGotTheMutexEndsWhenStopped)
{
    ASSERT_TRUE(notifier.connect());
    Peer holder;
    ASSERT_NO_FATAL_FAILURE(lockIn(holder));
    const int threads = processHoldings().threads;
    Recorder recorder;
    ASSERT_TRUE(notifier.waitForNotifications(&recorder));
    EXPECT_THREADS(processHoldings().threads, threads + 1);

    const bool stopped = cancelReturns(notifier);
    if (!stopped)
        holder.signal(SIGKILL);
    ASSERT_TRUE(stopped);
    // It ended: nothing is left behind, the mapping goes with the notifier.
    EXPECT_THREADS(settledHoldings(threads).threads, threads);
    notifier.disconnect();
    EXPECT_EQ(processHoldings().segmentMappings, 0);
    ASSERT_EQ(holder.ask("unlock"), "unlock 0");
    EXPECT_EQ(recorder.arrivals, 0);
    EXPECT_TRUE(holder.finish());
}

TEST_F(DiscoveryFaultTest, CancellationDuringTheWaitReleasesTheMutex)
{
    ASSERT_TRUE(notifier.connect());
    const QuorvaleDeviceNode present = fakeworld::parseNode("dv1");
    ASSERT_TRUE(notifier.notify(&present, true));
    Recorder recorder;
    const int threads = processHoldings().threads;
    ASSERT_TRUE(notifier.waitForNotifications(&recorder));
    EXPECT_EQ(notifier.waitState, 1u);
    EXPECT_EQ(notifier.delegate, &recorder);
    awaitWaitingListener(recorder, 1);  // replayed dv1, now waiting
    EXPECT_THREADS(processHoldings().threads, threads + 1);

    const int recoveries = faults::consistentCalls();
    notifier.cancelWaitForNotifications();
    EXPECT_EQ(notifier.waitState, 0u);
    EXPECT_EQ(notifier.delegate, nullptr);
    EXPECT_THREADS(settledHoldings(threads).threads, threads);

    RawSegment raw;
    EXPECT_EQ(raw.u32(expectedLayout().mutex), 0u);  // unlocked, not abandoned
    Peer other;
    ASSERT_EQ(other.ask("connect"), "connect 1");
    EXPECT_EQ(other.ask("lock"), "lock 0");
    EXPECT_EQ(other.ask("unlock"), "unlock 0");
    EXPECT_EQ(notifier.lock(), 0);
    EXPECT_EQ(notifier.unlock(), 0);
    EXPECT_EQ(faults::consistentCalls(), recoveries);
    EXPECT_TRUE(other.finish());

    // Idle again: it can listen anew and replays once more.
    ASSERT_TRUE(notifier.waitForNotifications(&recorder));
    awaitWaitingListener(recorder, 2);
    notifier.cancelWaitForNotifications();
}

TEST_F(DiscoveryFaultTest, WaitingNeedsAConnectionADelegateAndIdleness)
{
    Recorder recorder;
    EXPECT_FALSE(notifier.waitForNotifications(&recorder));
    EXPECT_EQ(notifier.waitState, 0u);
    ASSERT_TRUE(notifier.connect());
    EXPECT_FALSE(notifier.waitForNotifications(nullptr));
    EXPECT_EQ(notifier.waitState, 0u);
    ASSERT_TRUE(notifier.waitForNotifications(&recorder));
    Recorder other;
    EXPECT_FALSE(notifier.waitForNotifications(&other));
    EXPECT_EQ(notifier.delegate, &recorder);
    notifier.cancelWaitForNotifications();
    notifier.cancelWaitForNotifications();  // idle: nothing to do
    EXPECT_EQ(notifier.waitState, 0u);
}

TEST_F(DiscoveryFaultTest, FailedThreadCreationLeavesListeningRecorded)
{
    ASSERT_TRUE(notifier.connect());
    Recorder recorder;
    const int threads = processHoldings().threads;
    faults::failThreadCreation(true);
    const bool started = notifier.waitForNotifications(&recorder);
    faults::failThreadCreation(false);
    EXPECT_FALSE(started);
    EXPECT_EQ(notifier.waitState, 1u);
    EXPECT_EQ(notifier.delegate, &recorder);
    EXPECT_THREADS(processHoldings().threads, threads);
    // Tearing down such a notifier has no thread to stop.
    notifier.disconnect();
    EXPECT_EQ(notifier.waitState, 0u);
    EXPECT_EQ(notifier.delegate, nullptr);
}

TEST_F(DiscoveryFaultTest, DisconnectStopsTheListenerAndReleasesEverything)
{
    const ProcessHoldings before = processHoldings();
    ASSERT_TRUE(notifier.connect());
    Recorder recorder;
    ASSERT_TRUE(notifier.waitForNotifications(&recorder));
    EXPECT_THREADS(processHoldings().threads, before.threads + 1);
    notifier.disconnect();
    const ProcessHoldings after = settledHoldings(before.threads);
    EXPECT_THREADS(after.threads, before.threads);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(notifier.waitState, 0u);
    EXPECT_EQ(notifier.delegate, nullptr);
    EXPECT_EQ(notifier.shared, nullptr);
    EXPECT_EQ(notifier.shmFd, -1);
    EXPECT_TRUE(segmentExists());  // never unlinked by a working process
}

TEST_F(DiscoveryFaultTest, DestructorDisconnects)
{
    const ProcessHoldings before = processHoldings();
    {
        Recorder recorder;  // outlives the notifier, whose destruction stops the listener
        QuorvaleDeviceDiscoveryNotifier scoped;
        ASSERT_TRUE(scoped.connect());
        ASSERT_TRUE(scoped.waitForNotifications(&recorder));
        EXPECT_EQ(processHoldings().descriptors, before.descriptors + 1);
        EXPECT_THREADS(processHoldings().threads, before.threads + 1);
    }
    const ProcessHoldings after = settledHoldings(before.threads);
    EXPECT_THREADS(after.threads, before.threads);
    EXPECT_EQ(after.descriptors, before.descriptors);
}

}  // namespace
