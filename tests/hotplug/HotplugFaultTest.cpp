// quorvale-hotplugd and the rest of the device family: killed while it holds
// the channel's mutex, started before any program (it creates the channel)
// and after one (it joins).
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "HotplugTestSupport.h"
#include "QuorvaleAccess.h"
#include "QuorvaleDiscovery.h"

using hotplugtest::ChannelView;
using hotplugtest::CompanionProcess;
using simcard::NodeConfig;

namespace {

using Names = std::set<std::string>;
using Events = std::vector<std::string>;

class HotplugFaultTest : public hotplugtest::HotplugTest {
protected:
    // The environment that makes the companion stop inside its first post.
    static std::vector<std::string> stopInFirstPost()
    {
        const char* preload = getenv("LD_PRELOAD");
        std::string value = STOP_IN_BROADCAST_PATH;
        if (preload != nullptr && *preload != '\0')
            value = std::string(preload) + ":" + value;
        return {"LD_PRELOAD=" + value, "HOTPLUG_STOP_IN_BROADCAST=1"};
    }

    // Plugs dv1 into a companion that stops inside the post, with the mutex
    // held, and kills it there.
    void killWhileHoldingTheMutex()
    {
        CompanionProcess doomed(stopInFirstPost());
        startCompanion(doomed);
        cards.addNode(NodeConfig::dv(1));
        ASSERT_TRUE(hotplugtest::eventually([&] { return doomed.stopped(); }))
            << "the companion never stopped in its post; output:\n" << doomed.output();
        doomed.signal(SIGKILL);
        const int status = doomed.wait();
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "wait status " << status;
    }
};

#define SKIP_UNLESS_DEAD_HOLDERS_ARE_RECOVERED()                                   \
    if (hotplugtest::runsUnderUserEmulation())                                    \
    GTEST_SKIP() << "a dead holder's mutex is never handed on under user emulation"

TEST_F(HotplugFaultTest, KilledHoldingTheMutexTheNextLockerRecoversAndARestartAnnouncesTheNextPlug)
{
    SKIP_UNLESS_DEAD_HOLDERS_ARE_RECOVERED();
    killWhileHoldingTheMutex();
    if (HasFatalFailure())
        return;

    ChannelView channel;
    ASSERT_TRUE(channel.ok());
    EXPECT_EQ(channel.lock(), EOWNERDEAD);
    channel.unlock();
    // The post was complete but for the broadcast and the unlock.
    ChannelView::Snapshot s = channel.snapshot();
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv1"}));
    EXPECT_EQ(s.present(), Names{"dv1"});

    CompanionProcess companion;
    startCompanion(companion);
    cards.addNode(NodeConfig::dv(2));
    s = channel.awaitEvents(0, {"+dv1", "+dv2"});
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv1", "+dv2"})) << "dv1 is not announced twice";
    EXPECT_EQ(s.present(), (Names{"dv1", "dv2"}));
    expectCleanEnd(companion);
}

TEST_F(HotplugFaultTest, KilledHoldingTheMutexTheRestartedCompanionTakesItOver)
{
    SKIP_UNLESS_DEAD_HOLDERS_ARE_RECOVERED();
    killWhileHoldingTheMutex();
    if (HasFatalFailure())
        return;

    CompanionProcess companion;
    startCompanion(companion);
    ChannelView channel;
    ASSERT_TRUE(channel.ok());
    EXPECT_EQ(channel.lock(), 0) << "the companion made the mutex consistent when it joined";
    channel.unlock();

    cards.removeNode("dv1");
    cards.addNode(NodeConfig::dv(2));
    const ChannelView::Snapshot s = channel.awaitEvents(0, {"+dv1", "-dv1", "+dv2"});
    EXPECT_EQ(s.eventsFrom(0), (Events{"+dv1", "-dv1", "+dv2"}));
    EXPECT_EQ(s.present(), Names{"dv2"});
    expectCleanEnd(companion);
}

// A program of the device family in this process: the library's own
// listener, recording the path of every card it is handed.
class ProgramListener {
public:
    ProgramListener() { m_handle = InstallQuorvaleNotificationCallback(arrived, this); }
    ~ProgramListener() { RemoveQuorvaleNotificationCallback(m_handle); }
    ProgramListener(const ProgramListener&) = delete;
    ProgramListener& operator=(const ProgramListener&) = delete;

    std::vector<std::string> paths() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_paths;
    }
    // Waits until `count` cards were handed over; their paths.
    std::vector<std::string> awaitPaths(size_t count) const
    {
        hotplugtest::eventually([&] { return paths().size() >= count; });
        return paths();
    }

private:
    static void arrived(QuorvaleInstanceRec* device, void* context)
    {
        auto* self = static_cast<ProgramListener*>(context);
        char path[64] = "";
        GetDevicePath(device, path);
        CloseDriverConnectionCore(device);
        std::lock_guard<std::mutex> lock(self->m_mutex);
        self->m_paths.push_back(path);
    }

    QuorvaleNotificationHandle* m_handle = nullptr;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_paths;
};

TEST_F(HotplugFaultTest, StartedAfterAProgramItJoinsTheProgramsChannel)
{
    cards.addNode(NodeConfig::dv(0));
    ProgramListener program;
    EXPECT_EQ(program.awaitPaths(1), (std::vector<std::string>{"/dev/vantorix/dv0"}));
    ChannelView channel;
    ASSERT_TRUE(channel.ok()) << "the program created the channel";

    CompanionProcess companion;
    startCompanion(companion);
    EXPECT_EQ(channel.snapshot().writeIndex, 0) << "nothing to reconcile";
    cards.addNode(NodeConfig::dv(3));
    EXPECT_EQ(program.awaitPaths(2), (std::vector<std::string>{"/dev/vantorix/dv0", "/dev/vantorix/dv3"}));
    EXPECT_EQ(channel.snapshot().present(), (Names{"dv0", "dv3"}));
    expectCleanEnd(companion);
}

TEST_F(HotplugFaultTest, StartedBeforeAnyProgramItCreatesTheChannel)
{
    cards.addNode(NodeConfig::dv(0));
    ASSERT_FALSE(ChannelView::exists());
    CompanionProcess companion;
    startCompanion(companion);
    ASSERT_TRUE(ChannelView::exists());

    // A program started later hears of the card present and of the next.
    ProgramListener program;
    EXPECT_EQ(program.awaitPaths(1), (std::vector<std::string>{"/dev/vantorix/dv0"}));
    cards.addNode(NodeConfig::dv(3));
    EXPECT_EQ(program.awaitPaths(2), (std::vector<std::string>{"/dev/vantorix/dv0", "/dev/vantorix/dv3"}));
    expectCleanEnd(companion);
}

}  // namespace
