// quorvale-hotplugd alone: cards plugged in and removed through the
// emulation's udev events, the channel read through the test's own mapping.
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "HotplugTestSupport.h"
#include "QuorvaleDeviceDiscoveryNotifier.h"

using hotplugtest::ChannelView;
using hotplugtest::CompanionProcess;
using simcard::NodeConfig;

namespace {

using Names = std::set<std::string>;
using Events = std::vector<std::string>;

class HotplugCompanionTest : public hotplugtest::HotplugTest {};

TEST_F(HotplugCompanionTest, PlugUnplugAndPlugAgainAreAnnouncedOnceEach)
{
    CompanionProcess companion;
    startCompanion(companion);
    ChannelView channel;
    ASSERT_TRUE(channel.ok()) << "the companion created no channel";
    ChannelView::Snapshot s = channel.snapshot();
    EXPECT_EQ(s.initState, 1u);
    EXPECT_EQ(s.present(), Names{});
    EXPECT_EQ(s.writeIndex, 0);
    const auto holdings = companion.steadyHoldings();

    cards.addNode(NodeConfig::dv(5));
    s = channel.awaitEvents(0, {"+dv5"});
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv5"}));
    EXPECT_EQ(s.present(), Names{"dv5"});
    EXPECT_EQ(companion.holdingsBackTo(holdings), holdings);

    cards.removeNode("dv5");
    s = channel.awaitEvents(0, {"+dv5", "-dv5"});
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv5", "-dv5"}));
    EXPECT_EQ(s.present(), Names{});
    EXPECT_EQ(companion.holdingsBackTo(holdings), holdings);

    cards.addNode(NodeConfig::dv(5));
    s = channel.awaitEvents(0, {"+dv5", "-dv5", "+dv5"});
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv5", "-dv5", "+dv5"}));
    EXPECT_EQ(s.present(), Names{"dv5"});
    EXPECT_EQ(companion.holdingsBackTo(holdings), holdings);

    expectCleanEnd(companion);
}

TEST_F(HotplugCompanionTest, CardNodeIsAnnouncedUnderTheNameItsOpenRecords)
{
    CompanionProcess companion;
    startCompanion(companion);
    ChannelView channel;
    ASSERT_TRUE(channel.ok());
    const auto holdings = companion.steadyHoldings();

    cards.addNode(NodeConfig::card(3));
    ChannelView::Snapshot s = channel.awaitEvents(0, {"+dv3"});
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv3"}));
    EXPECT_EQ(s.present(), Names{"dv3"});
    EXPECT_EQ(s.masks[1], 0u) << "no card bit is ever set";

    cards.removeNode("card3");
    s = channel.awaitEvents(0, {"+dv3", "-dv3"});
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv3", "-dv3"}));
    EXPECT_EQ(s.present(), Names{});

    cards.addNode(NodeConfig::io(1));
    s = channel.awaitEvents(0, {"+dv3", "-dv3", "+io1"});
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv3", "-dv3", "+io1"}));
    EXPECT_EQ(s.present(), Names{"io1"});
    EXPECT_EQ(s.masks[2], 2u);
    EXPECT_EQ(companion.holdingsBackTo(holdings), holdings);

    expectCleanEnd(companion);
}

TEST_F(HotplugCompanionTest, NodeThatDoesNotOpenIsNotAnnounced)
{
    CompanionProcess companion;
    startCompanion(companion);
    ChannelView channel;
    ASSERT_TRUE(channel.ok());
    const auto holdings = companion.steadyHoldings();

    NodeConfig wrongVersion = NodeConfig::dv(6);
    wrongVersion.sharedDataVersion = 188;
    cards.addNode(wrongVersion);
    NodeConfig noDescription = NodeConfig::dv(8);
    noDescription.failRequest(0x990, 5);  // the hardware description an open reads
    cards.addNode(noDescription);
    // Events are handled in order: once the next card is announced, the
    // nodes before it have been passed over.
    cards.addNode(NodeConfig::dv(7));
    ChannelView::Snapshot s = channel.awaitEvents(0, {"+dv7"});
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv7"}));
    EXPECT_EQ(s.present(), Names{"dv7"});

    cards.removeNode("dv6");
    cards.removeNode("dv8");
    cards.removeNode("dv7");
    s = channel.awaitEvents(0, {"+dv7", "-dv7"});
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv7", "-dv7"}));
    EXPECT_EQ(s.present(), Names{});
    EXPECT_EQ(companion.holdingsBackTo(holdings), holdings);

    expectCleanEnd(companion);
}

TEST_F(HotplugCompanionTest, EventsOfOtherDevicesAreIgnored)
{
    CompanionProcess companion;
    startCompanion(companion);
    ChannelView channel;
    ASSERT_TRUE(channel.ok());
    const auto holdings = companion.steadyHoldings();

    const std::string elsewhere = cards.addOtherDevice("watchdog3", "/dev/watchdog3");
    const std::string misplaced = cards.addOtherDevice("dv4", "/dev/dv4");
    NodeConfig control;
    control.fileName = "ctl";  // a name without a unit number
    cards.addNode(control);
    NodeConfig unknownPrefix;
    unknownPrefix.prefix = "xy";
    unknownPrefix.unit = 2;
    cards.addNode(unknownPrefix);
    NodeConfig otherMajor = NodeConfig::dv(9);
    otherMajor.major = 11;
    cards.addNode(otherMajor);
    NodeConfig block = NodeConfig::dv(10);
    block.kind = simcard::NodeKind::BlockDevice;
    cards.addNode(block);
    cards.addNode(NodeConfig::dv(1));
    ChannelView::Snapshot s = channel.awaitEvents(0, {"+dv1"});
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv1"}));
    EXPECT_EQ(s.present(), Names{"dv1"});

    cards.removeOtherDevice(elsewhere);
    cards.removeOtherDevice(misplaced);
    for (const char* name : {"ctl", "xy2", "dv9", "dv10", "dv1"})
        cards.removeNode(name);
    s = channel.awaitEvents(0, {"+dv1", "-dv1"});
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv1", "-dv1"}));
    EXPECT_EQ(s.present(), Names{});
    EXPECT_EQ(companion.holdingsBackTo(holdings), holdings);

    expectCleanEnd(companion);
}

TEST_F(HotplugCompanionTest, PacedBurstLeavesTheChannelMatchingTheCards)
{
    CompanionProcess companion;
    startCompanion(companion);
    ChannelView channel;
    ASSERT_TRUE(channel.ok());
    const auto holdings = companion.steadyHoldings();

    const std::vector<NodeConfig> nodes = {NodeConfig::dv(0), NodeConfig::card(1), NodeConfig::io(2),
                                           NodeConfig::dv(3),  NodeConfig::dv(4),   NodeConfig::io(5)};
    const std::vector<std::string> announced = {"dv0", "dv1", "io2", "dv3", "dv4", "io5"};
    std::vector<bool> plugged(nodes.size(), false);
    auto presentNames = [&] {
        Names present;
        for (size_t i = 0; i < nodes.size(); ++i)
            if (plugged[i])
                present.insert(announced[i]);
        return present;
    };
    auto toggle = [&](size_t i) {
        if (plugged[i])
            cards.removeNode(nodes[i].name());
        else
            cards.addNode(nodes[i]);
        plugged[i] = !plugged[i];
    };

    // Batches of five different cards, each plugged in if absent or
    // unplugged if present: one event each, in order. The emulation gives up
    // on a monitor that leaves about eleven events unread, so the test waits
    // for every batch.
    std::mt19937 random(15);
    for (int batch = 0; batch < 16; ++batch) {
        std::vector<size_t> order = {0, 1, 2, 3, 4, 5};
        std::shuffle(order.begin(), order.end(), random);
        order.pop_back();
        const int from = channel.snapshot().writeIndex;
        Events expected;
        for (size_t i : order) {
            toggle(i);
            expected.push_back((plugged[i] ? "+" : "-") + announced[i]);
        }
        const ChannelView::Snapshot s = channel.awaitEvents(from, expected);
        ASSERT_EQ(s.eventsFrom(from), expected) << "batch " << batch;
        ASSERT_EQ(s.present(), presentNames()) << "batch " << batch;
    }

    // Cards pulled and pushed straight back, two at a time: each removal and
    // arrival is announced, in order. (Never a card unplugged while the
    // companion may still be opening it: the emulation ends a process whose
    // ioctl loses its answerer, where a driver would fail the call.)
    for (int round = 0; round < 6; ++round) {
        std::vector<size_t> present;
        for (size_t i = 0; i < nodes.size(); ++i)
            if (plugged[i])
                present.push_back(i);
        if (present.size() < 2) {
            for (size_t i = 0; i < nodes.size() && present.size() < 2; ++i)
                if (!plugged[i]) {
                    const int from = channel.snapshot().writeIndex;
                    toggle(i);
                    channel.awaitEvents(from, {"+" + announced[i]});
                    present.push_back(i);
                }
        }
        std::shuffle(present.begin(), present.end(), random);
        const int from = channel.snapshot().writeIndex;
        Events expected;
        for (size_t k = 0; k < 2; ++k) {
            const size_t i = present[k];
            toggle(i);
            toggle(i);
            expected.push_back("-" + announced[i]);
            expected.push_back("+" + announced[i]);
        }
        const ChannelView::Snapshot s = channel.awaitEvents(from, expected);
        ASSERT_EQ(s.eventsFrom(from), expected) << "round " << round << "; companion:\n" << companion.output();
        ASSERT_EQ(s.present(), presentNames()) << "round " << round;
    }
    EXPECT_EQ(companion.holdingsBackTo(holdings), holdings);

    expectCleanEnd(companion);
}

TEST_F(HotplugCompanionTest, StartUpAnnouncesWhatTheChannelMisses)
{
    {
        // A program made the channel when no card was there, and another
        // poster left dv2 and dv4 in it.
        QuorvaleDeviceDiscoveryNotifier poster;
        ASSERT_TRUE(poster.connect());
        QuorvaleDeviceNode dv2{}, dv4{};
        ASSERT_TRUE(dv2.fromPath("/dev/vantorix/dv2") && dv4.fromPath("/dev/vantorix/dv4"));
        ASSERT_TRUE(poster.notify(&dv2, true));
        ASSERT_TRUE(poster.notify(&dv4, true));
    }
    cards.addNode(NodeConfig::dv(4));
    cards.addNode(NodeConfig::dv(1));
    cards.addNode(NodeConfig::card(3));
    NodeConfig wrongVersion = NodeConfig::dv(6);
    wrongVersion.sharedDataVersion = 188;
    cards.addNode(wrongVersion);

    CompanionProcess companion;
    startCompanion(companion);
    ChannelView channel;
    ASSERT_TRUE(channel.ok());
    // Ready means reconciled: nothing to wait for.
    const ChannelView::Snapshot s = channel.snapshot();
    EXPECT_EQ(s.eventsFrom(2), (Events{"+dv1", "+dv3", "-dv2"}));
    EXPECT_EQ(s.present(), (Names{"dv1", "dv3", "dv4"}));

    // A card present at start and one plugged later look the same.
    cards.removeNode("card3");
    cards.addNode(NodeConfig::card(3));
    const ChannelView::Snapshot later = channel.awaitEvents(2, {"+dv1", "+dv3", "-dv2", "-dv3", "+dv3"});
    EXPECT_EQ(later.eventsFrom(2), (Events{"+dv1", "+dv3", "-dv2", "-dv3", "+dv3"}));
    EXPECT_EQ(later.present(), (Names{"dv1", "dv3", "dv4"}));

    expectCleanEnd(companion);
}

TEST_F(HotplugCompanionTest, CreatingTheChannelRecordsTheCardsPresent)
{
    cards.addNode(NodeConfig::dv(0));
    cards.addNode(NodeConfig::card(2));
    CompanionProcess companion;
    startCompanion(companion);
    ChannelView channel;
    ASSERT_TRUE(channel.ok());
    ChannelView::Snapshot s = channel.snapshot();
    EXPECT_EQ(s.initState, 1u);
    EXPECT_EQ(s.present(), (Names{"dv0", "dv2"}));
    EXPECT_EQ(s.writeIndex, 0) << "the creator records cards without events";

    cards.addNode(NodeConfig::dv(1));
    s = channel.awaitEvents(0, {"+dv1"});
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv1"}));
    EXPECT_EQ(s.present(), (Names{"dv0", "dv1", "dv2"}));

    expectCleanEnd(companion);
}

TEST_F(HotplugCompanionTest, SigintEndsItCleanlyToo)
{
    CompanionProcess companion;
    startCompanion(companion);
    companion.signal(SIGINT);
    const int status = companion.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "wait status " << status;
    EXPECT_TRUE(ChannelView::exists()) << "the channel stays for the programs using it";
}

TEST_F(HotplugCompanionTest, UnknownArgumentEndsWithUsageStatus)
{
    CompanionProcess companion({}, {"--frobnicate"});
    const int status = companion.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 2) << "wait status " << status;
    EXPECT_NE(companion.output().find("unknown argument \"--frobnicate\""), std::string::npos) << companion.output();
    EXPECT_FALSE(ChannelView::exists());
}

}  // namespace
