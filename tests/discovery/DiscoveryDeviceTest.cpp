// Arrivals delivered as devices opened from simulated cards, through the
// exported calls, with posters and listeners in other processes.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>
#include <mutex>
#include <string>
#include <vector>

#include "DiscoveryTestSupport.h"
#include "QuorvaleAccess.h"
#include "QuorvaleDiscovery.h"
#include "SimulatedCard.h"

using namespace discoverytest;
using simcard::NodeConfig;

namespace {

// Descriptors of this process open on device nodes named `name` ("" for any).
int openNodes(const std::string& name = "")
{
    int count = 0;
    DIR* dir = opendir("/proc/self/fd");
    while (dirent* entry = readdir(dir)) {
        char target[512] = {};
        const std::string link = std::string("/proc/self/fd/") + entry->d_name;
        if (entry->d_name[0] == '.' || readlink(link.c_str(), target, sizeof target - 1) < 0)
            continue;
        const std::string path = target;
        const std::string wanted = "/dev/vantorix/" + name;
        const size_t at = path.find(wanted);
        if (at != std::string::npos && (!name.empty() ? at + wanted.size() == path.size() : true))
            ++count;
    }
    closedir(dir);
    return count;
}

struct OpenedArrivals {
    std::mutex mutex;
    std::vector<std::string> paths;
    std::vector<std::string> drivers;
    std::vector<bool> descriptorValid;

    size_t count()
    {
        std::lock_guard<std::mutex> guard(mutex);
        return paths.size();
    }

    bool awaitCount(size_t wanted)
    {
        eventually([this, wanted] { return count() >= wanted; });
        return count() == wanted;
    }
};

void recordOpened(QuorvaleInstanceRec* device, void* context)
{
    auto* arrivals = static_cast<OpenedArrivals*>(context);
    char path[64] = {};
    const bool named = GetDevicePath(device, path);
    const std::string driver = GetDriverName(device);
    const bool descriptorValid = fcntl(GetDriverFileDescriptor(device), F_GETFD) != -1;
    // Closed before it is counted, so that a test seeing the arrival also
    // sees the device closed.
    CloseDriverConnectionCore(device);
    std::lock_guard<std::mutex> guard(arrivals->mutex);
    arrivals->paths.push_back(named ? path : "?");
    arrivals->drivers.push_back(driver);
    arrivals->descriptorValid.push_back(descriptorValid);
}

class DiscoveryDeviceTest : public DiscoveryTest {
protected:
    void SetUp() override
    {
        DiscoveryTest::SetUp();
        ASSERT_TRUE(simcard::SimulatedCard::emulationActive());
    }

    simcard::SimulatedCard card;
    OpenedArrivals arrivals;
};

TEST_F(DiscoveryDeviceTest, InstalledCallbackGetsPresentCardsAsOpenedDevices)
{
    card.addNode(NodeConfig::io(1));
    card.addNode(NodeConfig::dv(0));
    QuorvaleNotificationHandle* handle = InstallQuorvaleNotificationCallback(recordOpened, &arrivals);
    ASSERT_NE(handle, nullptr);

    RawSegment raw;  // the creator enumerated the cards into the bitmap
    EXPECT_EQ(raw.mask(0), 1u);
    EXPECT_EQ(raw.mask(2), 2u);
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), 0u);

    ASSERT_TRUE(arrivals.awaitCount(2));
    RemoveQuorvaleNotificationCallback(handle);
    EXPECT_EQ(arrivals.paths, (std::vector<std::string>{"/dev/vantorix/dv0", "/dev/vantorix/io1"}));
    EXPECT_EQ(arrivals.drivers, (std::vector<std::string>{"Quorvale", "VantorixIO"}));
    EXPECT_EQ(arrivals.descriptorValid, (std::vector<bool>{true, true}));
}

TEST_F(DiscoveryDeviceTest, ArrivalPostedByAnotherProcessIsDeliveredOpened)
{
    card.createDeviceDirectory();
    QuorvaleNotificationHandle* handle = InstallQuorvaleNotificationCallback(recordOpened, &arrivals);
    ASSERT_NE(handle, nullptr);

    card.addNode(NodeConfig::dv(2));
    card.addNode(NodeConfig::io(3));
    Peer poster;
    ASSERT_EQ(poster.ask("connect"), "connect 1");
    ASSERT_EQ(poster.ask("notify dv2 1"), "notify 1");
    ASSERT_TRUE(arrivals.awaitCount(1));

    // A removal whose node has gone cannot be opened, so it is not delivered.
    card.removeNode("dv2");
    ASSERT_EQ(poster.ask("notify dv2 0"), "notify 1");
    ASSERT_EQ(poster.ask("notify io3 1"), "notify 1");
    ASSERT_TRUE(arrivals.awaitCount(2));
    EXPECT_TRUE(poster.finish());
    RemoveQuorvaleNotificationCallback(handle);

    EXPECT_EQ(arrivals.paths, (std::vector<std::string>{"/dev/vantorix/dv2", "/dev/vantorix/io3"}));
    EXPECT_EQ(openNodes(), 0);  // the callback closed what it got
}

TEST_F(DiscoveryDeviceTest, RemovalOfAPresentCardLeavesItsDeviceOpen)
{
    card.addNode(NodeConfig::dv(6));
    QuorvaleNotificationHandle* handle = InstallQuorvaleNotificationCallback(recordOpened, &arrivals);
    ASSERT_NE(handle, nullptr);
    ASSERT_TRUE(arrivals.awaitCount(1));  // replayed, and closed by the callback
    EXPECT_EQ(openNodes("dv6"), 0);
    const size_t requests = card.requestsFor("dv6").size();

    // The node is still there, so the removal opens it; the callback never
    // hears of it and nobody closes it (kept so).
    Peer poster;
    ASSERT_EQ(poster.ask("connect"), "connect 1");
    ASSERT_EQ(poster.ask("notify dv6 0"), "notify 1");
    // The poster may take the mutex again before the woken listener does, so
    // wait for the listener's open rather than for the mutex.
    eventually([] { return openNodes("dv6") != 0; });
    ASSERT_EQ(poster.ask("lock"), "lock 0");  // the listener let go of the mutex
    ASSERT_EQ(poster.ask("unlock"), "unlock 0");
    EXPECT_TRUE(poster.finish());
    RemoveQuorvaleNotificationCallback(handle);

    EXPECT_EQ(arrivals.count(), 1u);
    EXPECT_GT(card.requestsFor("dv6").size(), requests);  // opened for the removal
    EXPECT_EQ(openNodes("dv6"), 1);                        // and still open
}

TEST_F(DiscoveryDeviceTest, ListenerProcessReplaysTwoPresentCardsBeforeWaiting)
{
    card.addNode(NodeConfig::io(1));
    card.addNode(NodeConfig::dv(0));
    Peer listener;
    ASSERT_EQ(listener.ask("connect"), "connect 1");  // creates and enumerates
    ASSERT_EQ(listener.ask("listen"), "listen 1");
    Delivery first, second;
    ASSERT_TRUE(listener.nextDelivery(first));
    ASSERT_TRUE(listener.nextDelivery(second));
    EXPECT_EQ(first.node, "dv0");
    EXPECT_EQ(second.node, "io1");
    EXPECT_TRUE(first.arrived && second.arrived);

    card.addNode(NodeConfig::dv(5));
    Peer poster;
    ASSERT_EQ(poster.ask("connect"), "connect 1");
    ASSERT_EQ(poster.ask("notify dv5 1"), "notify 1");
    Delivery third;
    ASSERT_TRUE(listener.nextDelivery(third));
    EXPECT_EQ(third.node, "dv5");
    EXPECT_TRUE(poster.finish());
    EXPECT_TRUE(listener.finish());
}

TEST_F(DiscoveryDeviceTest, CardNodeIsRecordedUnderDvAndNotReplayed)
{
    card.addNode(NodeConfig::card(0));
    Peer listener;
    ASSERT_EQ(listener.ask("connect"), "connect 1");
    RawSegment raw;
    EXPECT_EQ(raw.mask(0), 1u);  // as dv0
    EXPECT_EQ(raw.mask(1), 0u);  // the card bits stay clear

    // The replay opens dv0, which has no node: nothing comes of card0.
    ASSERT_EQ(listener.ask("listen"), "listen 1");
    card.addNode(NodeConfig::io(4));
    Peer poster;
    ASSERT_EQ(poster.ask("connect"), "connect 1");
    ASSERT_EQ(poster.ask("notify io4 1"), "notify 1");
    Delivery delivery;
    ASSERT_TRUE(listener.nextDelivery(delivery));
    EXPECT_EQ(delivery.node, "io4");
    EXPECT_TRUE(poster.finish());
    EXPECT_TRUE(listener.finish());
}

}  // namespace
