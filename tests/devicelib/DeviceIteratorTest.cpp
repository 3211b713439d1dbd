// Enumeration, ordering, grouping and the connect calls.
#include <signal.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <list>
#include <thread>

#include "DeviceTestSupport.h"
#include "QuorvaleAccess.h"
#include "QuorvaleInformation.h"
#include "QuorvaleInstanceRec.h"

using simcard::NodeConfig;

namespace {

NodeConfig subDevice(unsigned unit, uint32_t index, uint32_t count, uint32_t parent)
{
    NodeConfig c = NodeConfig::dv(unit);
    c.subDeviceIndex = index;
    c.subDeviceCount = count;
    c.parentDeviceId = parent;
    return c;
}

// Runs `work` in a child process; true if it is still running `seconds`
// after `started` held (then it is killed), false if it ended by itself or
// `started` did not hold within 20 s.
template <typename Work, typename Started>
bool keepsRunning(Work work, int seconds, Started started)
{
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    using Clock = std::chrono::steady_clock;
    auto deadline = Clock::now() + std::chrono::seconds(20);
    bool running = true;
    bool timing = false;
    int status = 0;
    while (running && Clock::now() < deadline) {
        if (!timing && started()) {
            timing = true;
            deadline = Clock::now() + std::chrono::seconds(seconds);
        }
        running = waitpid(child, &status, WNOHANG) != child;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (running) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
    }
    return running && timing;
}

template <typename Work>
bool keepsRunning(Work work, int seconds)
{
    return keepsRunning(work, seconds, [] { return true; });
}

class DeviceIteratorTest : public DeviceTest {};

TEST_F(DeviceIteratorTest, NoDeviceDirectoryGivesAnEmptyIterator)
{
    takeBaseline();
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    ASSERT_NE(iterator, nullptr);
    EXPECT_TRUE(iterator->nodes.empty());
    EXPECT_EQ(iterator->nextIndex, 0u);
    EXPECT_EQ(QuorvaleIteratorNext(iterator), nullptr);
    ReleaseQuorvaleIterator(iterator);
    EXPECT_LE(descriptorsNow(), baseline);
}

TEST_F(DeviceIteratorTest, EmptyDeviceDirectoryGivesAnEmptyIterator)
{
    card.createDeviceDirectory();
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    ASSERT_NE(iterator, nullptr);
    EXPECT_TRUE(iterator->nodes.empty());
    EXPECT_EQ(QuorvaleIteratorNext(iterator), nullptr);
    ReleaseQuorvaleIterator(iterator);
}

TEST_F(DeviceIteratorTest, SingleDevicesComeOutInNodeOrder)
{
    for (const NodeConfig& c : {NodeConfig::io(0), NodeConfig::dv(1), NodeConfig::card(0), NodeConfig::dv(0)})
        card.addNode(c);
    takeBaseline();
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    ASSERT_NE(iterator, nullptr);
    EXPECT_EQ(order(iterator), (std::vector<std::string>{"card0", "dv0", "dv1", "io0"}));
    // Probing asked each node its version and its place, and closed it again.
    EXPECT_EQ(card.requestsFor("dv1").size(), 2u);
    EXPECT_LE(descriptorsNow(), baseline);

    const char* expectedDrivers[] = {"Quorvale", "Quorvale", "Quorvale", "VantorixIO"};
    const uint32_t expectedUnits[] = {0, 0, 1, 0};
    for (int i = 0; i < 4; ++i) {
        QuorvaleInstanceRec* rec = QuorvaleIteratorNext(iterator);
        ASSERT_NE(rec, nullptr) << i;
        EXPECT_STREQ(rec->driverName, expectedDrivers[i]);
        EXPECT_EQ(rec->unitNumber, expectedUnits[i]);
        EXPECT_EQ(iterator->nextIndex, uint32_t(i + 1));
        CloseDriverConnectionCore(rec);
    }
    EXPECT_EQ(QuorvaleIteratorNext(iterator), nullptr);
    ReleaseQuorvaleIterator(iterator);
    EXPECT_LE(descriptorsNow(), baseline);
}

TEST_F(DeviceIteratorTest, SubDevicesOfOneCardComeOutTogetherInSubDeviceOrder)
{
    card.addNode(subDevice(0, 1, 2, 7));
    card.addNode(subDevice(1, 0, 2, 7));
    card.addNode(subDevice(2, 0, 1, 0));
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    ASSERT_NE(iterator, nullptr);
    EXPECT_EQ(order(iterator), (std::vector<std::string>{"dv1", "dv0", "dv2"}));
    ReleaseQuorvaleIterator(iterator);
}

TEST_F(DeviceIteratorTest, SkipsNodesThatAreNotTheDriversCharacterDevices)
{
    NodeConfig otherMajor = NodeConfig::dv(1);
    otherMajor.major = 11;
    NodeConfig block = NodeConfig::dv(2);
    block.kind = simcard::NodeKind::BlockDevice;
    NodeConfig plain = NodeConfig::dv(3);
    plain.kind = simcard::NodeKind::PlainFile;
    NodeConfig ctl = NodeConfig::dv(0);
    ctl.fileName = "ctl";
    NodeConfig unknown = NodeConfig::dv(0);
    unknown.prefix = "xy";
    for (const NodeConfig& c : {otherMajor, block, plain, ctl, unknown, NodeConfig::dv(4)})
        card.addNode(c);
    takeBaseline();
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    ASSERT_NE(iterator, nullptr);
    EXPECT_EQ(order(iterator), (std::vector<std::string>{"dv4"}));
    // Only dv4 and the unknown prefix were opened; the unknown one got no transport.
    EXPECT_TRUE(card.requestsFor("dv1").empty());
    EXPECT_TRUE(card.requestsFor("dv2").empty());
    EXPECT_TRUE(card.requestsFor("ctl").empty());
    EXPECT_TRUE(card.requestsFor("xy0").empty());
    EXPECT_EQ(card.requestsFor("dv4").size(), 2u);
    EXPECT_LE(descriptorsNow(), baseline);
    ReleaseQuorvaleIterator(iterator);
}

TEST_F(DeviceIteratorTest, DriverNodeCheckWantsACharacterDeviceOfMajorTen)
{
    struct stat status {};
    status.st_mode = S_IFCHR | 0600;
    status.st_rdev = makedev(10, 3);
    EXPECT_TRUE(quorvale::isDriverNode(status));
    status.st_rdev = makedev(11, 3);
    EXPECT_FALSE(quorvale::isDriverNode(status));
    status.st_mode = S_IFBLK | 0600;
    status.st_rdev = makedev(10, 3);
    EXPECT_FALSE(quorvale::isDriverNode(status));
    status.st_mode = S_IFREG | 0600;
    EXPECT_FALSE(quorvale::isDriverNode(status));
    // A real regular file, as stat reports it outside the emulation's /dev.
    ASSERT_EQ(stat("/proc/self/exe", &status), 0);
    EXPECT_FALSE(quorvale::isDriverNode(status));
}

TEST_F(DeviceIteratorTest, ProbeSkipsWrongVersionsAndFailedRequests)
{
    NodeConfig old = NodeConfig::dv(0);
    old.sharedDataVersion = 188;
    NodeConfig noVersion = NodeConfig::dv(1).failRequest(0x10000, EIO);
    NodeConfig noSubDevice = NodeConfig::dv(2).failRequest(0x99A, EIO);
    NodeConfig ioOld = NodeConfig::io(0);
    ioOld.sharedDataVersion = 190;
    for (const NodeConfig& c : {old, noVersion, noSubDevice, ioOld, NodeConfig::dv(3), NodeConfig::io(1)})
        card.addNode(c);
    takeBaseline();
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    ASSERT_NE(iterator, nullptr);
    EXPECT_EQ(order(iterator), (std::vector<std::string>{"dv3", "io1"}));
    // The version comes first; a mismatch asks nothing more.
    ASSERT_EQ(card.requestsFor("dv0").size(), 1u);
    EXPECT_EQ(card.requestsFor("dv0")[0].request, 0x10000u);
    EXPECT_EQ(card.requestsFor("dv1").size(), 1u);
    EXPECT_LE(descriptorsNow(), baseline);
    ReleaseQuorvaleIterator(iterator);
}

TEST_F(DeviceIteratorTest, SubDeviceCountZeroKeepsTheGroupingPassRunning)
{
    card.addNode(subDevice(0, 0, 0, 3));
    card.addNode(NodeConfig::dv(1));
    EXPECT_TRUE(keepsRunning(
        [] {
            QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
            ReleaseQuorvaleIterator(iterator);
        },
        2, [this] { return card.requestsFor("dv0").size() >= 2 && card.requestsFor("dv1").size() >= 2; }));
    // The child got as far as probing both nodes before the pass took hold.
    EXPECT_EQ(card.requestsFor("dv0").size(), 2u);
    EXPECT_EQ(card.requestsFor("dv1").size(), 2u);
}

TEST_F(DeviceIteratorTest, ElementWhoseIndexIsNotBelowItsCountIsNeverConsumed)
{
    EXPECT_TRUE(keepsRunning(
        [] {
            std::list<EnumeratedDeviceListElmt> list;
            list.push_back({node("dv", 0), 2, 2, 5});
            std::deque<QuorvaleDeviceNode> nodes;
            quorvale::orderEnumeratedDevices(list, nodes);
        },
        2));
}

TEST_F(DeviceIteratorTest, GroupingIsStableAndPlacesEachCardAtItsFirstNode)
{
    std::list<EnumeratedDeviceListElmt> list;
    list.push_back({node("io", 0), 0, 1, 0});
    list.push_back({node("dv", 5), 1, 3, 9});
    list.push_back({node("card", 2), 2, 3, 9});
    list.push_back({node("dv", 1), 0, 1, 0});
    list.push_back({node("dv", 7), 0, 3, 9});
    std::deque<QuorvaleDeviceNode> nodes;
    quorvale::orderEnumeratedDevices(list, nodes);
    EXPECT_TRUE(list.empty());
    std::vector<std::string> names;
    for (const QuorvaleDeviceNode& n : nodes)
        names.push_back(name(n));
    EXPECT_EQ(names, (std::vector<std::string>{"dv7", "dv5", "card2", "dv1", "io0"}));
}

TEST_F(DeviceIteratorTest, OnlyASuccessfulOpenAdvancesTheIterator)
{
    card.addNode(NodeConfig::dv(0));
    card.addNode(NodeConfig::dv(1));
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    ASSERT_NE(iterator, nullptr);
    ASSERT_EQ(iterator->nodes.size(), 2u);
    card.update("dv0", [](NodeConfig& c) { c.failRequest(0x990, EIO); });
    takeBaseline();
    EXPECT_EQ(QuorvaleIteratorNext(iterator), nullptr);
    EXPECT_EQ(iterator->nextIndex, 0u);
    EXPECT_EQ(QuorvaleIteratorNext(iterator), nullptr);  // the same node again
    EXPECT_EQ(iterator->nextIndex, 0u);
    EXPECT_LE(descriptorsNow(), baseline);
    card.update("dv0", [](NodeConfig& c) { c.replies.clear(); });
    QuorvaleInstanceRec* rec = QuorvaleIteratorNext(iterator);
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(rec->unitNumber, 0u);
    EXPECT_EQ(iterator->nextIndex, 1u);
    CloseDriverConnectionCore(rec);
    ReleaseQuorvaleIterator(iterator);
}

TEST_F(DeviceIteratorTest, ResetStartsAgainAndIgnoresNull)
{
    card.addNode(NodeConfig::dv(0));
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    QuorvaleInstanceRec* first = QuorvaleIteratorNext(iterator);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(QuorvaleIteratorNext(iterator), nullptr);
    EXPECT_EQ(ResetQuorvaleIterator(iterator), iterator);
    EXPECT_EQ(iterator->nextIndex, 0u);
    QuorvaleInstanceRec* again = QuorvaleIteratorNext(iterator);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(ResetQuorvaleIterator(nullptr), nullptr);
    CloseDriverConnectionCore(first);
    CloseDriverConnectionCore(again);
    ReleaseQuorvaleIterator(iterator);
    ReleaseQuorvaleIterator(nullptr);
}

TEST_F(DeviceIteratorTest, DevicesHandedOutOutliveTheIterator)
{
    NodeConfig c = NodeConfig::dv(0);
    c.busyState = 6;
    card.addNode(c);
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    QuorvaleInstanceRec* rec = QuorvaleIteratorNext(iterator);
    ASSERT_NE(rec, nullptr);
    ReleaseQuorvaleIterator(iterator);
    uint32_t busy = 0;
    EXPECT_EQ(GetQuorvaleDeviceBusyState(rec, &busy), 0);
    EXPECT_EQ(busy, 6u);
    CloseDriverConnectionCore(rec);
}

TEST_F(DeviceIteratorTest, ConnectToDriverCoreWithoutIteratorOpensTheFirstDevice)
{
    card.addNode(NodeConfig::dv(1));
    card.addNode(NodeConfig::card(0));
    takeBaseline();
    QuorvaleInstanceRec* rec = reinterpret_cast<QuorvaleInstanceRec*>(0x1);
    ASSERT_TRUE(ConnectToDriverCore(&rec, nullptr));
    ASSERT_NE(rec, nullptr);
    char path[64];
    ASSERT_TRUE(GetDevicePath(rec, path));
    EXPECT_STREQ(path, "/dev/vantorix/dv0");  // card0, reported under dv
    CloseDriverConnectionCore(rec);
    EXPECT_LE(descriptorsNow(), baseline);
}

TEST_F(DeviceIteratorTest, ConnectToDriverCoreWithIteratorTakesTheNextDevice)
{
    card.addNode(NodeConfig::dv(0));
    card.addNode(NodeConfig::dv(1));
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    QuorvaleInstanceRec* a = nullptr;
    QuorvaleInstanceRec* b = nullptr;
    QuorvaleInstanceRec* c = reinterpret_cast<QuorvaleInstanceRec*>(0x1);
    ASSERT_TRUE(ConnectToDriverCore(&a, iterator));
    ASSERT_TRUE(ConnectToDriverCore(&b, iterator));
    EXPECT_FALSE(ConnectToDriverCore(&c, iterator));
    EXPECT_EQ(c, nullptr);
    EXPECT_EQ(a->unitNumber, 0u);
    EXPECT_EQ(b->unitNumber, 1u);
    CloseDriverConnectionCore(a);
    CloseDriverConnectionCore(b);
    ReleaseQuorvaleIterator(iterator);
}

TEST_F(DeviceIteratorTest, ConnectToDriverCoreWithoutDevicesFails)
{
    QuorvaleInstanceRec* rec = reinterpret_cast<QuorvaleInstanceRec*>(0x1);
    EXPECT_FALSE(ConnectToDriverCore(&rec, nullptr));
    EXPECT_EQ(rec, nullptr);
}

TEST_F(DeviceIteratorTest, ConnectToNextQuorvaleCountsPositionsFromOne)
{
    card.addNode(NodeConfig::dv(0));
    card.addNode(NodeConfig::dv(1));
    takeBaseline();
    for (uint32_t position : {0u, 1u}) {
        QuorvaleInstanceRec* rec = nullptr;
        ASSERT_TRUE(ConnectToNextQuorvale(&rec, position)) << position;
        EXPECT_EQ(rec->unitNumber, 0u);
        CloseDriverConnectionCore(rec);
    }
    QuorvaleInstanceRec* second = nullptr;
    ASSERT_TRUE(ConnectToNextQuorvale(&second, 2));
    EXPECT_EQ(second->unitNumber, 1u);
    CloseDriverConnectionCore(second);
    EXPECT_LE(descriptorsNow(), baseline);
}

TEST_F(DeviceIteratorTest, ConnectToNextQuorvaleBeyondTheDevicesFailsWithNothingOpen)
{
    card.addNode(NodeConfig::dv(0));
    card.addNode(NodeConfig::dv(1));
    takeBaseline();
    QuorvaleInstanceRec* rec = reinterpret_cast<QuorvaleInstanceRec*>(0x1);
    EXPECT_FALSE(ConnectToNextQuorvale(&rec, 3));
    EXPECT_EQ(rec, nullptr);
    EXPECT_LE(descriptorsNow(), baseline);
}

TEST_F(DeviceIteratorTest, ConnectToNextQuorvaleStopsWhenAnEarlierDeviceFails)
{
    card.addNode(NodeConfig::dv(0).failRequest(0x990, EIO));
    card.addNode(NodeConfig::dv(1));
    takeBaseline();
    QuorvaleInstanceRec* rec = reinterpret_cast<QuorvaleInstanceRec*>(0x1);
    EXPECT_FALSE(ConnectToNextQuorvale(&rec, 2));
    EXPECT_EQ(rec, nullptr);
    EXPECT_LE(descriptorsNow(), baseline);
}

}  // namespace
