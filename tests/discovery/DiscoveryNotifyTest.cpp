// Posting, with the listener in another process.
#include "QuorvaleAccess.h"
#include "DiscoveryTestSupport.h"
#include "FakeDeviceWorld.h"
#include "QuorvaleDeviceDiscoveryNotifier.h"

using namespace discoverytest;

namespace {

class DiscoveryNotifyTest : public DiscoveryTest {
protected:
    bool post(const char* name, bool arrived)
    {
        const QuorvaleDeviceNode node = fakeworld::parseNode(name);
        return poster.notify(&node, arrived);
    }

    // Starts a listener in another process and waits until it is in its
    // condition wait (it gives the mutex back only there).
    void startListener(Peer& listener)
    {
        ASSERT_EQ(listener.ask("connect"), "connect 1");
        ASSERT_EQ(listener.ask("listen"), "listen 1");
        const std::string sentinel = "io" + std::to_string(sentinelUnit++);
        ASSERT_TRUE(post(sentinel.c_str(), true));
        const std::vector<Delivery> seen = listener.deliveriesThrough(sentinel);
        ASSERT_FALSE(seen.empty());
        ASSERT_EQ(seen.back().node, sentinel);
        ASSERT_EQ(poster.lock(), 0);
        ASSERT_EQ(poster.unlock(), 0);
    }

    // The listener delivers with the channel's mutex held: holding it
    // ourselves makes the count safe to read.
    template <typename Recorder>
    bool awaitRecorded(Recorder& recorder, size_t count)
    {
        size_t seen = 0;
        eventually([&] {
            poster.lock();
            seen = recorder.nodes.size();
            poster.unlock();
            return seen >= count;
        });
        return seen == count;
    }

    QuorvaleDeviceDiscoveryNotifier poster;
    int sentinelUnit = 40;
};

TEST_F(DiscoveryNotifyTest, UnconnectedNotifierRefusesToPost)
{
    EXPECT_FALSE(post("dv0", true));
    EXPECT_FALSE(post("dv0", false));
}

TEST_F(DiscoveryNotifyTest, ArrivalAndRemovalReachAListenerInAnotherProcess)
{
    ASSERT_TRUE(poster.connect());
    Peer listener;
    startListener(listener);

    ASSERT_TRUE(post("dv1", true));
    ASSERT_TRUE(post("dv1", false));
    const std::vector<Delivery> seen = listener.deliveriesThrough("dv1");
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_TRUE(seen[0].arrived);
    Delivery removal;
    ASSERT_TRUE(listener.nextDelivery(removal));
    EXPECT_EQ(removal.node, "dv1");
    EXPECT_FALSE(removal.arrived);
    EXPECT_TRUE(listener.finish());
}

TEST_F(DiscoveryNotifyTest, DuplicateArrivalReturnsTrueWithoutAnEvent)
{
    ASSERT_TRUE(poster.connect());
    Peer listener;
    startListener(listener);
    RawSegment raw;

    ASSERT_TRUE(post("dv4", true));
    const uint32_t writeIndex = raw.u32(expectedLayout().writeIndex);
    EXPECT_TRUE(post("dv4", true));
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), writeIndex);
    ASSERT_TRUE(post("io8", true));  // marks the end of what the listener can see

    const std::vector<Delivery> seen = listener.deliveriesThrough("io8");
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].node, "dv4");
    EXPECT_EQ(seen[1].node, "io8");
    EXPECT_TRUE(listener.finish());
}

TEST_F(DiscoveryNotifyTest, RemovalOfAnAbsentNodeReturnsTrueWithoutAnEvent)
{
    ASSERT_TRUE(poster.connect());
    Peer listener;
    startListener(listener);
    RawSegment raw;

    const uint32_t writeIndex = raw.u32(expectedLayout().writeIndex);
    EXPECT_TRUE(post("dv5", false));
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), writeIndex);
    EXPECT_EQ(raw.mask(0), 0u);
    ASSERT_TRUE(post("io8", true));

    const std::vector<Delivery> seen = listener.deliveriesThrough("io8");
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].node, "io8");
    EXPECT_TRUE(listener.finish());
}

TEST_F(DiscoveryNotifyTest, DeviceThatCannotBeOpenedIsNotDelivered)
{
    ASSERT_TRUE(poster.connect());
    Peer listener({"QUORVALE_FAKE_UNOPENABLE=dv6"});
    startListener(listener);

    ASSERT_TRUE(post("dv6", true));
    ASSERT_TRUE(post("dv7", true));
    const std::vector<Delivery> seen = listener.deliveriesThrough("dv7");
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].node, "dv7");
    EXPECT_TRUE(listener.finish());
}

TEST_F(DiscoveryNotifyTest, EveryListeningProcessHearsEachEvent)
{
    ASSERT_TRUE(poster.connect());
    Peer first, second;
    startListener(first);
    startListener(second);

    ASSERT_TRUE(post("card2", true));
    for (Peer* listener : {&first, &second}) {
        const std::vector<Delivery> seen = listener->deliveriesThrough("card2");
        ASSERT_FALSE(seen.empty());
        EXPECT_EQ(seen.back().node, "card2");
        EXPECT_TRUE(seen.back().arrived);
    }
    EXPECT_TRUE(first.finish());
    EXPECT_TRUE(second.finish());
}

TEST_F(DiscoveryNotifyTest, PosterInAnotherProcessReachesThisProcessListener)
{
    class Recorder : public IQuorvaleDeviceDiscoveryNotifierDelegate {
    public:
        void ProcessNotification(QuorvaleInstanceRec* device, bool arrived) override
        {
            nodes.push_back(fakeworld::nodeNameOf(device) + (arrived ? "+" : "-"));
            CloseDriverConnectionCore(device);
        }
        std::vector<std::string> nodes;  // written with the channel's mutex held
    } recorder;

    ASSERT_TRUE(poster.connect());
    ASSERT_TRUE(poster.waitForNotifications(&recorder));
    // Both posts below must find the listener waiting, not yet replaying.
    const QuorvaleDeviceNode ready = fakeworld::parseNode("dv9");
    ASSERT_TRUE(poster.notify(&ready, true));
    ASSERT_TRUE(awaitRecorded(recorder, 1));

    Peer other;
    ASSERT_EQ(other.ask("connect"), "connect 1");
    ASSERT_EQ(other.ask("notify io2 1"), "notify 1");
    ASSERT_EQ(other.ask("notify io2 0"), "notify 1");
    EXPECT_TRUE(awaitRecorded(recorder, 3));
    poster.cancelWaitForNotifications();
    EXPECT_EQ(recorder.nodes, (std::vector<std::string>{"dv9+", "io2+", "io2-"}));
    EXPECT_TRUE(other.finish());
}

}  // namespace
