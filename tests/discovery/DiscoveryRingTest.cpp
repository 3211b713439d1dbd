// The ring of twenty events and the listener's replay, with the poster and the
// listener in different processes.
#include "DiscoveryTestSupport.h"
#include "FakeDeviceWorld.h"
#include "QuorvaleDeviceDiscoveryNotifier.h"

using namespace discoverytest;

namespace {

class DiscoveryRingTest : public DiscoveryTest {
protected:
    void TearDown() override
    {
        fakeworld::setPresent("");
        DiscoveryTest::TearDown();
    }

    // A listener in its own process that has replayed and is waiting.
    void startListener(Peer& listener)
    {
        ASSERT_EQ(listener.ask("connect"), "connect 1");
        ASSERT_EQ(listener.ask("listen"), "listen 1");
        const QuorvaleDeviceNode ready = fakeworld::parseNode("io50");
        ASSERT_TRUE(creator.notify(&ready, true));
        ASSERT_EQ(listener.deliveriesThrough("io50").back().node, "io50");
        ASSERT_EQ(creator.lock(), 0);  // returned to its condition wait
        ASSERT_EQ(creator.unlock(), 0);
    }

    // Posts arrivals dv0.. from a third process while the listener is
    // stopped, so that all of them fall between two of its wake-ups; then
    // lets it go on and posts a last arrival, io51, that shows where it
    // stands. (Whether the listener wakes before or after io51 is posted,
    // it delivers the same: the wrap leaves nothing or the newest event.)
    std::vector<Delivery> postWhileHeldOff(Peer& listener, int count)
    {
        EXPECT_TRUE(listener.stop());
        Peer poster;
        EXPECT_EQ(poster.ask("connect"), "connect 1");
        EXPECT_EQ(poster.ask("post dv 0 " + std::to_string(count)), "posted " + std::to_string(count));
        listener.resume();
        EXPECT_EQ(poster.ask("notify io51 1"), "notify 1");
        EXPECT_TRUE(poster.finish());
        return listener.deliveriesThrough("io51");
    }

    QuorvaleDeviceDiscoveryNotifier creator;
};

TEST_F(DiscoveryRingTest, TwentyEventsBetweenWakeUpsAreAllMissed)
{
    ASSERT_TRUE(creator.connect());
    Peer listener;
    startListener(listener);

    const std::vector<Delivery> seen = postWhileHeldOff(listener, 20);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].node, "io51");
    EXPECT_EQ(listener.pendingDeliveries(), 0u);
    RawSegment raw;
    EXPECT_EQ(raw.mask(0), (uint64_t(1) << 20) - 1);  // all twenty were posted
    EXPECT_TRUE(listener.finish());
}

TEST_F(DiscoveryRingTest, TwentyFirstEventIsTheOnlyOneSeen)
{
    ASSERT_TRUE(creator.connect());
    Peer listener;
    startListener(listener);

    const std::vector<Delivery> seen = postWhileHeldOff(listener, 21);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].node, "dv20");
    EXPECT_TRUE(seen[0].arrived);
    EXPECT_EQ(seen[1].node, "io51");
    EXPECT_TRUE(listener.finish());
}

TEST_F(DiscoveryRingTest, NineteenEventsBetweenWakeUpsAreAllSeenInOrder)
{
    ASSERT_TRUE(creator.connect());
    Peer listener;
    startListener(listener);

    ASSERT_TRUE(listener.stop());
    Peer poster;
    ASSERT_EQ(poster.ask("connect"), "connect 1");
    ASSERT_EQ(poster.ask("post dv 0 19"), "posted 19");
    listener.resume();
    const std::vector<Delivery> seen = listener.deliveriesThrough("dv18");
    ASSERT_EQ(seen.size(), 19u);
    for (int unit = 0; unit < 19; ++unit)
        EXPECT_EQ(seen[size_t(unit)].node, "dv" + std::to_string(unit));
    EXPECT_TRUE(poster.finish());
    EXPECT_TRUE(listener.finish());
}

TEST_F(DiscoveryRingTest, NewListenerReplaysTwoPresentDevicesBeforeWaiting)
{
    fakeworld::setPresent("io1,dv0");
    ASSERT_TRUE(creator.connect());

    Peer listener;
    ASSERT_EQ(listener.ask("connect"), "connect 1");
    // Nothing is posted before it listens: these come from the bitmap.
    RawSegment raw;
    ASSERT_EQ(raw.u32(expectedLayout().writeIndex), 0u);
    ASSERT_EQ(listener.ask("listen"), "listen 1");
    Delivery first, second;
    ASSERT_TRUE(listener.nextDelivery(first));
    ASSERT_TRUE(listener.nextDelivery(second));
    EXPECT_EQ(first.node, "dv0");  // bit order: dv0 is bit 0, io1 bit 129
    EXPECT_TRUE(first.arrived);
    EXPECT_EQ(second.node, "io1");
    EXPECT_TRUE(second.arrived);

    const QuorvaleDeviceNode later = fakeworld::parseNode("dv7");
    ASSERT_TRUE(creator.notify(&later, true));
    Delivery third;
    ASSERT_TRUE(listener.nextDelivery(third));
    EXPECT_EQ(third.node, "dv7");
    EXPECT_TRUE(listener.finish());
}

TEST_F(DiscoveryRingTest, ReplayRebuildsNodesFromTheBitNumber)
{
    ASSERT_TRUE(creator.connect());
    for (const char* name : {"io3", "card5", "dv64", "dv2"}) {
        const QuorvaleDeviceNode node = fakeworld::parseNode(name);
        ASSERT_TRUE(creator.notify(&node, true));
    }

    Peer listener;
    ASSERT_EQ(listener.ask("connect"), "connect 1");
    ASSERT_EQ(listener.ask("listen"), "listen 1");
    std::vector<std::string> replayed;
    Delivery delivery;
    for (int i = 0; i < 4 && listener.nextDelivery(delivery); ++i)
        replayed.push_back(delivery.node);
    // dv64 shares its bit with card0.
    EXPECT_EQ(replayed, (std::vector<std::string>{"dv2", "card0", "card5", "io3"}));
    EXPECT_TRUE(listener.finish());
}

}  // namespace
