// Creating and joining the channel from several processes.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <atomic>
#include <future>
#include <iostream>

#include "DiscoveryTestSupport.h"
#include "FakeDeviceWorld.h"
#include "QuorvaleDeviceDiscoveryNotifier.h"
#include "SystemCallFaults.h"

using namespace discoverytest;

namespace {

using DiscoveryJoinTest = DiscoveryTest;

const std::vector<std::string> kHeldCreator{"QUORVALE_FAKE_PRESENT=dv0,dv1", "QUORVALE_FAKE_HOLD_ENUMERATION=1"};

// Shortens a joiner's wait for the creator for one test.
class JoinPatience {
public:
    explicit JoinPatience(unsigned milliseconds) { QuorvaleDeviceDiscoveryNotifier::joinPatienceMilliseconds = milliseconds; }
    ~JoinPatience() { QuorvaleDeviceDiscoveryNotifier::joinPatienceMilliseconds = m_saved; }
    JoinPatience(const JoinPatience&) = delete;
    JoinPatience& operator=(const JoinPatience&) = delete;

private:
    unsigned m_saved = QuorvaleDeviceDiscoveryNotifier::joinPatienceMilliseconds;
};

double milliseconds(clockid_t clock)
{
    timespec now;
    clock_gettime(clock, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// A connect that fails, how long it took, and how much processor time its
// thread spent meanwhile (a joiner that backs off sleeps nearly all along).
struct TimedJoin {
    bool connected;
    double wallMs, cpuMs;
    double cpuPercent() const { return 100.0 * cpuMs / wallMs; }
};

TimedJoin timedConnect(QuorvaleDeviceDiscoveryNotifier& joiner)
{
    const double wall = milliseconds(CLOCK_MONOTONIC), cpu = milliseconds(CLOCK_THREAD_CPUTIME_ID);
    const bool connected = joiner.connect();
    return {connected, milliseconds(CLOCK_MONOTONIC) - wall, milliseconds(CLOCK_THREAD_CPUTIME_ID) - cpu};
}

// What a joiner whose creator died must do: fail, hold nothing, and use at
// most a few percent of one core while it waited.
void expectCheapFailure(const TimedJoin& join, const QuorvaleDeviceDiscoveryNotifier& joiner, const char* state)
{
    std::cout << state << ": failed after " << join.wallMs << " ms using " << join.cpuMs << " ms of processor time ("
              << join.cpuPercent() << " %)" << std::endl;
    ::testing::Test::RecordProperty(state, std::to_string(join.cpuPercent()) + " %");
    EXPECT_FALSE(join.connected);
    EXPECT_EQ(joiner.shared, nullptr);
    EXPECT_EQ(joiner.shmFd, -1);
    EXPECT_LT(join.cpuPercent(), 5.0);
}

// The time a joiner is granted beyond its patience: its last pause and a
// busy machine's scheduling.
constexpr double kJoinMarginMs = 5000;

// A joiner of an object that no creator will finish: it waits out its
// patience, then fails, cheaply.
void expectJoinerGivesUpAtItsPatience(const char* state)
{
    constexpr unsigned kPatienceMs = 1500;
    const JoinPatience patience(kPatienceMs);
    QuorvaleDeviceDiscoveryNotifier joiner;
    const TimedJoin join = timedConnect(joiner);
    expectCheapFailure(join, joiner, state);
    EXPECT_GE(join.wallMs, kPatienceMs);
    EXPECT_LE(join.wallMs, kPatienceMs + kJoinMarginMs);
}

TEST_F(DiscoveryJoinTest, JoinerWaitsWhileTheCreatorEnumerates)
{
    Peer creator(kHeldCreator);
    creator.send("connect");
    ASSERT_EQ(creator.answer(), "enumerating");
    RawSegment raw;
    ASSERT_TRUE(raw.ok());
    EXPECT_EQ(raw.u32(expectedLayout().initState), 2u);
    EXPECT_EQ(raw.u32(expectedLayout().mutex), uint32_t(creator.pid()));  // held by its only thread

    Peer joiner;
    joiner.send("connect");
    EXPECT_EQ(joiner.answer(300), "");  // blocked on the creator's lock

    creator.send("");  // enumeration goes on
    EXPECT_EQ(creator.answer(), "connect 1");
    EXPECT_EQ(joiner.answer(), "connect 1");
    EXPECT_EQ(raw.u32(expectedLayout().initState), 1u);
    EXPECT_EQ(raw.mask(0), 3u);  // the joiner found the creator's enumeration done
    EXPECT_TRUE(creator.finish());
    EXPECT_TRUE(joiner.finish());
}

TEST_F(DiscoveryJoinTest, JoinerWaitsWhileTheObjectIsFresh)
{
    // The test plays a creator that has just made the object.
    const int fd = shm_open(expectedLayout().name, O_RDWR | O_CREAT | O_EXCL, 0666);
    ASSERT_NE(fd, -1);
    Peer joiner;
    joiner.send("connect");
    EXPECT_EQ(joiner.answer(300), "");  // not even sized yet

    ASSERT_EQ(ftruncate(fd, off_t(kDiscoverySegmentSize)), 0);
    EXPECT_EQ(joiner.answer(300), "");  // initState still 0

    void* mapping = mmap(nullptr, kDiscoverySegmentSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    ASSERT_NE(mapping, MAP_FAILED);
    auto* segment = static_cast<QuorvaleDiscoverySegment*>(mapping);
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&segment->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    pthread_condattr_t conditionAttributes;
    pthread_condattr_init(&conditionAttributes);
    pthread_condattr_setpshared(&conditionAttributes, PTHREAD_PROCESS_SHARED);
    pthread_cond_init(&segment->condition, &conditionAttributes);
    pthread_condattr_destroy(&conditionAttributes);
    __atomic_store_n(&segment->initState, 1u, __ATOMIC_RELEASE);

    EXPECT_EQ(joiner.answer(), "connect 1");
    EXPECT_TRUE(joiner.finish());
    munmap(mapping, kDiscoverySegmentSize);
    close(fd);
}

TEST_F(DiscoveryJoinTest, CreatorKilledWhileInitialisingLeavesJoinersFailing)
{
    SKIP_UNLESS_DEAD_HOLDERS_ARE_RECOVERED();
    Peer creator(kHeldCreator);
    creator.send("connect");
    ASSERT_EQ(creator.answer(), "enumerating");
    creator.signal(SIGKILL);
    const int status = creator.wait();
    ASSERT_TRUE(WIFSIGNALED(status));

    RawSegment raw;
    ASSERT_TRUE(raw.ok());
    EXPECT_EQ(raw.u32(expectedLayout().initState), 2u);
    EXPECT_NE(raw.u32(expectedLayout().mutex) & kOwnerDiedBit, 0u);

    const int recoveries = faults::consistentCalls();
    QuorvaleDeviceDiscoveryNotifier joiner;
    EXPECT_FALSE(joiner.connect());
    EXPECT_EQ(faults::consistentCalls(), recoveries + 1);  // it took the dead creator's lock over
    EXPECT_EQ(joiner.shared, nullptr);
    EXPECT_EQ(joiner.shmFd, -1);
    EXPECT_EQ(raw.u32(expectedLayout().initState), 2u);
    EXPECT_EQ(raw.u32(expectedLayout().mutex), 0u);  // given back, consistent

    Peer laterJoiner;
    EXPECT_EQ(laterJoiner.ask("connect"), "connect 0");
    EXPECT_TRUE(laterJoiner.finish());
    EXPECT_TRUE(segmentExists());  // only a creator that fails by itself removes it
}

TEST_F(DiscoveryJoinTest, JoinerGivesUpCheaplyWhenTheCreatorDiedBeforeSizingTheObject)
{
    const int fd = shm_open(expectedLayout().name, O_RDWR | O_CREAT | O_EXCL, 0666);
    ASSERT_NE(fd, -1);
    close(fd);  // and the creator is gone
    expectJoinerGivesUpAtItsPatience("before sizing");
    RawSegment raw;
    EXPECT_EQ(raw.fileSize(), 0);  // a joiner never sizes the object
}

TEST_F(DiscoveryJoinTest, JoinerGivesUpCheaplyWhenTheCreatorDiedBetweenSizingAndInitialising)
{
    const int fd = shm_open(expectedLayout().name, O_RDWR | O_CREAT | O_EXCL, 0666);
    ASSERT_NE(fd, -1);
    ASSERT_EQ(ftruncate(fd, off_t(kDiscoverySegmentSize)), 0);
    close(fd);
    expectJoinerGivesUpAtItsPatience("between sizing and initialising");
    RawSegment raw;
    EXPECT_EQ(raw.u32(expectedLayout().initState), 0u);
    EXPECT_EQ(raw.u32(expectedLayout().mutex), 0u);  // never touched while the object is fresh
}

TEST_F(DiscoveryJoinTest, JoinerGivesUpCheaplyWhenTheCreatorIsKilledWhileEnumerating)
{
    SKIP_UNLESS_DEAD_HOLDERS_ARE_RECOVERED();
    Peer creator(kHeldCreator);
    creator.send("connect");
    ASSERT_EQ(creator.answer(), "enumerating");

    // The joiner waits on the creator's lock for a while before the creator
    // dies, and fails as soon as it takes the dead creator's lock over.
    const JoinPatience patience(20000);
    const int recoveries = faults::consistentCalls();
    QuorvaleDeviceDiscoveryNotifier joiner;
    std::atomic<bool> joining{false};
    auto joined = std::async(std::launch::async, [&joiner, &joining] {
        joining = true;
        return timedConnect(joiner);
    });
    ASSERT_TRUE(eventually([&joining] { return joining.load(); }));
    EXPECT_NE(joined.wait_for(std::chrono::milliseconds(500)), std::future_status::ready);
    creator.signal(SIGKILL);
    ASSERT_TRUE(WIFSIGNALED(creator.wait()));
    ASSERT_EQ(joined.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    const TimedJoin join = joined.get();
    expectCheapFailure(join, joiner, "killed while enumerating");
    EXPECT_GE(join.wallMs, 500.0);
    EXPECT_LT(join.wallMs, 20000.0);  // ended by the kill, not by its patience
    EXPECT_EQ(faults::consistentCalls(), recoveries + 1);
}

TEST_F(DiscoveryJoinTest, CreatorWhoseEnumerationFailsRemovesTheObject)
{
    Peer creator({"QUORVALE_FAKE_NO_ITERATOR=1"});
    EXPECT_EQ(creator.ask("connect"), "connect 0");
    EXPECT_FALSE(segmentExists());
    // Disconnected: it can try again (and fails again the same way).
    EXPECT_EQ(creator.ask("connect"), "connect 0");
    EXPECT_TRUE(creator.finish());
}

TEST_F(DiscoveryJoinTest, CreatorWhoseEnumerationFailsLeavesItsMappingLockedAndInitialising)
{
    Peer creator({"QUORVALE_FAKE_NO_ITERATOR=1", "QUORVALE_FAKE_HOLD_ITERATOR=1"});
    creator.send("connect");
    ASSERT_EQ(creator.answer(), "creating iterator");
    RawSegment raw;  // a process that mapped the object in time
    ASSERT_TRUE(raw.ok());
    creator.send("");
    EXPECT_EQ(creator.answer(), "connect 0");
    EXPECT_FALSE(segmentExists());
    EXPECT_EQ(raw.u32(expectedLayout().initState), 2u);
    EXPECT_EQ(raw.u32(expectedLayout().mutex), uint32_t(creator.pid()));  // still held
    EXPECT_TRUE(creator.finish());
    // Its mapping was gone when it ended, so the kernel could not mark the
    // lock as abandoned: whoever mapped the object in time stays locked out.
    EXPECT_EQ(raw.u32(expectedLayout().mutex), uint32_t(creator.pid()));
}

TEST_F(DiscoveryJoinTest, CreatorThatCannotSizeTheObjectRemovesIt)
{
    QuorvaleDeviceDiscoveryNotifier creator;
    faults::failSegmentSizing(true);
    const bool connected = creator.connect();
    faults::failSegmentSizing(false);
    EXPECT_FALSE(connected);
    EXPECT_FALSE(segmentExists());
    EXPECT_EQ(creator.shared, nullptr);
    EXPECT_EQ(creator.shmFd, -1);
    EXPECT_TRUE(creator.connect());
}

TEST_F(DiscoveryJoinTest, FailedMappingIsTakenForAMapping)
{
    // The mapping result is compared with null only, so MAP_FAILED goes on
    // to be used; the process that meets it does not survive connecting.
    Peer creator({"QUORVALE_FAULT_MMAP_FAILS=1"});
    creator.send("connect");
    EXPECT_EQ(creator.answer(), "");
    const int status = creator.wait();
    EXPECT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_TRUE(segmentExists());  // the failure went unnoticed, so nothing was removed
}

TEST_F(DiscoveryJoinTest, JoinerThatCannotOpenTheObjectFails)
{
    QuorvaleDeviceDiscoveryNotifier creator, joiner;
    ASSERT_TRUE(creator.connect());
    faults::failSegmentReopen(true);
    const bool joined = joiner.connect();
    faults::failSegmentReopen(false);
    EXPECT_FALSE(joined);
    EXPECT_EQ(joiner.shared, nullptr);
    EXPECT_EQ(joiner.shmFd, -1);
    EXPECT_TRUE(segmentExists());
}

TEST_F(DiscoveryJoinTest, ConnectingTwiceIsRefused)
{
    QuorvaleDeviceDiscoveryNotifier notifier;
    ASSERT_TRUE(notifier.connect());
    QuorvaleDiscoverySegment* const shared = notifier.shared;
    EXPECT_FALSE(notifier.connect());
    EXPECT_EQ(notifier.shared, shared);
}

TEST_F(DiscoveryJoinTest, LaterProcessJoinsAndKeepsWhatIsRecorded)
{
    QuorvaleDeviceDiscoveryNotifier creator;
    ASSERT_TRUE(creator.connect());
    const QuorvaleDeviceNode node = fakeworld::parseNode("io4");
    ASSERT_TRUE(creator.notify(&node, true));
    creator.disconnect();  // the object outlives its creator's connection
    EXPECT_TRUE(segmentExists());

    Peer joiner({"QUORVALE_FAKE_PRESENT=dv9"});  // a joiner does not enumerate
    EXPECT_EQ(joiner.ask("connect"), "connect 1");
    RawSegment raw;
    EXPECT_EQ(raw.mask(0), 0u);
    EXPECT_EQ(raw.mask(2), uint64_t(1) << 4);
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), 1u);
    EXPECT_TRUE(joiner.finish());
}

}  // namespace
