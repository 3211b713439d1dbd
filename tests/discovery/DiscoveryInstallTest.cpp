// The exported install and remove calls, and the arrival delegate.
#include <signal.h>
#include <mutex>
#include <string>
#include <vector>

#include "QuorvaleAccess.h"
#include "DiscoveryTestSupport.h"
#include "FakeDeviceWorld.h"
#include "QuorvaleArrivalNotifierDelegate.h"
#include "QuorvaleDiscovery.h"
#include "QuorvaleNotificationHandle.h"
#include "SystemCallFaults.h"

using namespace discoverytest;

namespace {

struct Arrivals {
    std::mutex mutex;
    std::vector<std::string> nodes;
    std::vector<void*> contexts;

    size_t count()
    {
        std::lock_guard<std::mutex> guard(mutex);
        return nodes.size();
    }

    bool awaitCount(size_t wanted)
    {
        return eventually([this, wanted] { return count() >= wanted; }, 5000) && count() == wanted;
    }
};

void recordArrival(QuorvaleInstanceRec* device, void* context)
{
    auto* arrivals = static_cast<Arrivals*>(context);
    {
        std::lock_guard<std::mutex> guard(arrivals->mutex);
        arrivals->nodes.push_back(fakeworld::nodeNameOf(device));
        arrivals->contexts.push_back(context);
    }
    CloseDriverConnectionCore(device);
}

class DiscoveryInstallTest : public DiscoveryTest {
protected:
    void TearDown() override
    {
        fakeworld::setPresent("");
        fakeworld::closeAllOpen();
        DiscoveryTest::TearDown();
    }

    // Leaves the object as a creator that died initialising it leaves it.
    void makeDeadChannel()
    {
        Peer creator({"QUORVALE_FAKE_PRESENT=dv0", "QUORVALE_FAKE_HOLD_ENUMERATION=1"});
        creator.send("connect");
        ASSERT_EQ(creator.answer(), "enumerating");
        creator.signal(SIGKILL);
        creator.wait();
    }

    Arrivals arrivals;
};

TEST_F(DiscoveryInstallTest, ArrivalDelegatePassesArrivalsAndDropsRemovals)
{
    QuorvaleArrivalNotifierDelegate delegate(recordArrival, &arrivals);
    const QuorvaleDeviceNode node = fakeworld::parseNode("dv2");

    QuorvaleInstanceRec* removed = QuorvaleOpenDevice(&node);
    ASSERT_NE(removed, nullptr);
    delegate.ProcessNotification(removed, false);
    EXPECT_EQ(arrivals.count(), 0u);
    EXPECT_EQ(fakeworld::openDevices(), 1);  // kept open, as it always was

    QuorvaleInstanceRec* arrived = QuorvaleOpenDevice(&node);
    delegate.ProcessNotification(arrived, true);
    ASSERT_EQ(arrivals.count(), 1u);
    EXPECT_EQ(arrivals.nodes[0], "dv2");
    EXPECT_EQ(arrivals.contexts[0], &arrivals);
    EXPECT_EQ(fakeworld::openDevices(), 1);  // the callback closed its own
    CloseDriverConnectionCore(removed);
}

TEST_F(DiscoveryInstallTest, InstalledCallbackHearsPresentThenArrivingDevices)
{
    fakeworld::setPresent("dv0");
    QuorvaleNotificationHandle* handle = InstallQuorvaleNotificationCallback(recordArrival, &arrivals);
    ASSERT_NE(handle, nullptr);
    ASSERT_NE(handle->notifier, nullptr);
    ASSERT_NE(handle->delegate, nullptr);
    EXPECT_EQ(handle->delegate->callback, &recordArrival);
    EXPECT_EQ(handle->delegate->context, &arrivals);
    ASSERT_TRUE(arrivals.awaitCount(1));

    Peer poster;
    ASSERT_EQ(poster.ask("connect"), "connect 1");
    ASSERT_EQ(poster.ask("notify io3 1"), "notify 1");
    ASSERT_TRUE(arrivals.awaitCount(2));
    ASSERT_EQ(poster.ask("notify io3 0"), "notify 1");
    ASSERT_EQ(poster.ask("notify dv5 1"), "notify 1");  // orders after the removal's delivery
    ASSERT_TRUE(arrivals.awaitCount(3));
    EXPECT_TRUE(poster.finish());

    RemoveQuorvaleNotificationCallback(handle);
    EXPECT_EQ(arrivals.nodes, (std::vector<std::string>{"dv0", "io3", "dv5"}));
    EXPECT_EQ(arrivals.contexts, (std::vector<void*>{&arrivals, &arrivals, &arrivals}));
    EXPECT_EQ(fakeworld::openDevices(), 1);  // the device opened for the removal stays open
}

TEST_F(DiscoveryInstallTest, InstallAndRemoveAThousandTimesLeakNothing)
{
    fakeworld::setPresent("dv0");
    RemoveQuorvaleNotificationCallback(InstallQuorvaleNotificationCallback(recordArrival, &arrivals));
    const ProcessHoldings before = processHoldings();
    for (int round = 0; round < 1000; ++round) {
        QuorvaleNotificationHandle* handle = InstallQuorvaleNotificationCallback(recordArrival, &arrivals);
        ASSERT_NE(handle, nullptr);
        ASSERT_NE(handle->notifier, nullptr) << "round " << round;
        if (round == 0) {
            EXPECT_EQ(processHoldings().segmentMappings, 1);
        }
        RemoveQuorvaleNotificationCallback(handle);
    }
    const ProcessHoldings after = settledHoldings(before.threads);
    EXPECT_THREADS(after.threads, before.threads);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.segmentMappings, 0);
    if (kAllMappingsCountable) {
        EXPECT_EQ(after.mappings, before.mappings);
    }
    EXPECT_EQ(fakeworld::openDevices(), 0);
    // Cancellation waits for the replay: every listener reported the device.
    EXPECT_EQ(arrivals.count(), 1001u);
}

TEST_F(DiscoveryInstallTest, FailedInstallStillReturnsTheHandleAndRemovingItIsHarmless)
{
    SKIP_UNLESS_DEAD_HOLDERS_ARE_RECOVERED();
    makeDeadChannel();
    const ProcessHoldings before = processHoldings();
    QuorvaleNotificationHandle* handle = InstallQuorvaleNotificationCallback(recordArrival, &arrivals);
    ASSERT_NE(handle, nullptr);  // callers are not told
    EXPECT_EQ(handle->notifier, nullptr);  // already released
    EXPECT_EQ(handle->delegate, nullptr);
    const ProcessHoldings after = settledHoldings(before.threads);
    EXPECT_THREADS(after.threads, before.threads);
    EXPECT_EQ(after.descriptors, before.descriptors);
    // The caller's own release of it (the second) frees it without harm; the
    // sanitizer build checks there is no use after free and no leak.
    RemoveQuorvaleNotificationCallback(handle);
    EXPECT_EQ(arrivals.count(), 0u);
}

TEST_F(DiscoveryInstallTest, InstallWhoseListenerCannotStartReturnsAnEmptiedHandle)
{
    const ProcessHoldings before = processHoldings();
    faults::failThreadCreation(true);
    QuorvaleNotificationHandle* handle = InstallQuorvaleNotificationCallback(recordArrival, &arrivals);
    faults::failThreadCreation(false);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->notifier, nullptr);
    EXPECT_EQ(handle->delegate, nullptr);
    EXPECT_EQ(processHoldings().descriptors, before.descriptors);
    EXPECT_TRUE(segmentExists());  // the channel itself was set up
    RemoveQuorvaleNotificationCallback(handle);
}

TEST_F(DiscoveryInstallTest, InstallWhoseNotifierCannotBeMadeReturnsAnEmptiedHandle)
{
    faults::failNextNothrowNew(true);
    QuorvaleNotificationHandle* handle = InstallQuorvaleNotificationCallback(recordArrival, &arrivals);
    faults::failNextNothrowNew(false);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->notifier, nullptr);
    EXPECT_EQ(handle->delegate, nullptr);
    EXPECT_FALSE(segmentExists());  // it never got as far as connecting
    RemoveQuorvaleNotificationCallback(handle);
}

TEST_F(DiscoveryInstallTest, InstallWithoutMemoryForTheHandleReturnsNull)
{
    faults::failNextCalloc(true);
    QuorvaleNotificationHandle* handle = InstallQuorvaleNotificationCallback(recordArrival, &arrivals);
    faults::failNextCalloc(false);
    EXPECT_EQ(handle, nullptr);
    EXPECT_FALSE(segmentExists());
}

TEST_F(DiscoveryInstallTest, RemovingNullIsIgnored)
{
    const int openBefore = fakeworld::openDevices();
    RemoveQuorvaleNotificationCallback(nullptr);
    EXPECT_FALSE(segmentExists());  // no channel is joined to take anything down
    EXPECT_EQ(fakeworld::openDevices(), openBefore);
    EXPECT_TRUE(arrivals.nodes.empty());
}

}  // namespace
