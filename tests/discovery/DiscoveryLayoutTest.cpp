// The shared object byte for byte, read back through a mapping of its own.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "DiscoveryTestSupport.h"
#include "FakeDeviceWorld.h"
#include "QuorvaleDeviceDiscoveryNotifier.h"

using namespace discoverytest;

namespace {

class DiscoveryLayoutTest : public DiscoveryTest {
protected:
    void TearDown() override
    {
        fakeworld::setPresent("");
        DiscoveryTest::TearDown();
    }

    void post(const char* name, bool arrived)
    {
        const QuorvaleDeviceNode node = fakeworld::parseNode(name);
        ASSERT_TRUE(notifier.notify(&node, arrived));
    }

    size_t slot(int index) const { return expectedLayout().events + kEventSize * size_t(index); }

    QuorvaleDeviceDiscoveryNotifier notifier;
};

TEST_F(DiscoveryLayoutTest, ObjectHasItsNameSizeModeAndReadyState)
{
    const mode_t savedMask = umask(077);
    const bool connected = notifier.connect();
    umask(savedMask);
    ASSERT_TRUE(connected);

    RawSegment raw;
    ASSERT_TRUE(raw.ok()) << expectedLayout().name;
    EXPECT_EQ(raw.fileSize(), off_t(expectedLayout().size));
    EXPECT_EQ(raw.fileMode(), 0666u);  // fchmod overrides the umask
    EXPECT_EQ(raw.u32(expectedLayout().initState), 1u);
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), 0u);
    EXPECT_EQ(kDiscoverySegmentSize, expectedLayout().size);
    EXPECT_STREQ(kDiscoverySegmentName, expectedLayout().name);
}

#if defined(__i386__)
TEST_F(DiscoveryLayoutTest, ThirtyTwoBitBuildSharesTheFamilyObject)
{
    EXPECT_STREQ(kDiscoverySegmentName, "/com_vantorixlabs_QuorvaleDiscoveryNotifier");
    EXPECT_EQ(kDiscoverySegmentSize, 444u);
}
#else
TEST_F(DiscoveryLayoutTest, SixtyFourBitBuildNeverOpensTheThirtyTwoBitObject)
{
    // A 32-bit process's object, as it would lie in /dev/shm.
    const int fd = shm_open("/com_vantorixlabs_QuorvaleDiscoveryNotifier", O_RDWR | O_CREAT | O_EXCL, 0600);
    const bool madeIt = fd != -1;
    ASSERT_TRUE(madeIt || errno == EEXIST);
    if (madeIt) {
        ASSERT_EQ(ftruncate(fd, 444), 0);
        close(fd);
    }

    ASSERT_TRUE(notifier.connect());
    struct stat status;
    ASSERT_EQ(fstat(notifier.shmFd, &status), 0);
    EXPECT_EQ(status.st_size, off_t(464));
    EXPECT_STRNE(kDiscoverySegmentName, "/com_vantorixlabs_QuorvaleDiscoveryNotifier");
    notifier.disconnect();
    if (madeIt)
        shm_unlink("/com_vantorixlabs_QuorvaleDiscoveryNotifier");
}
#endif

TEST_F(DiscoveryLayoutTest, PostedEventsLieInPackedSeventeenByteRecords)
{
    ASSERT_TRUE(notifier.connect());
    RawSegment raw;
    ASSERT_TRUE(raw.ok());
    raw.setByte(slot(0), 0xA0);  // flag bits other than bit 0 are kept
    raw.setByte(slot(2), 0xA1);

    post("dv3", true);
    post("io1", true);
    post("dv3", false);

    EXPECT_EQ(raw.eventFlags(0), 0xA1);
    EXPECT_EQ(raw.eventPrefix(0), "dv");
    EXPECT_EQ(raw.eventUnit(0), 3);
    EXPECT_EQ(raw.eventFlags(1), 0x01);
    EXPECT_EQ(raw.eventPrefix(1), "io");
    EXPECT_EQ(raw.eventUnit(1), 1);
    EXPECT_EQ(raw.eventFlags(2), 0xA0);
    EXPECT_EQ(raw.eventPrefix(2), "dv");
    EXPECT_EQ(raw.eventUnit(2), 3);
    // The prefix is zero-filled up to the unit byte.
    EXPECT_EQ(raw.bytes(slot(1) + 3, 13), std::vector<uint8_t>(13, 0));
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), 3u);
}

TEST_F(DiscoveryLayoutTest, WriteIndexWrapsAfterTheTwentiethSlot)
{
    ASSERT_TRUE(notifier.connect());
    RawSegment raw;
    for (int unit = 0; unit < 19; ++unit)
        post(("dv" + std::to_string(unit)).c_str(), true);
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), 19u);
    post("dv19", true);
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), 0u);
    EXPECT_EQ(raw.eventUnit(19), 19);
    post("dv20", true);
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), 1u);
    EXPECT_EQ(raw.eventUnit(0), 20);
    // The ring ends where writeIndex begins.
    EXPECT_EQ(slot(20), expectedLayout().writeIndex);
}

TEST_F(DiscoveryLayoutTest, PresenceBitsAreNumberedByDriverIndexAndUnit)
{
    ASSERT_TRUE(notifier.connect());
    RawSegment raw;
    post("dv3", true);
    EXPECT_EQ(raw.mask(0), uint64_t(1) << 3);
    post("io1", true);
    EXPECT_EQ(raw.mask(2), uint64_t(1) << 1);
    post("card0", true);
    EXPECT_EQ(raw.mask(1), uint64_t(1));
    post("io63", true);
    EXPECT_EQ(raw.mask(2), (uint64_t(1) << 63) | (uint64_t(1) << 1));
    post("dv3", false);
    EXPECT_EQ(raw.mask(0), 0u);
    EXPECT_EQ(raw.u64(expectedLayout().presence + 8), uint64_t(1));
}

TEST_F(DiscoveryLayoutTest, UnitSixtyFourRunsIntoTheNextDriversMask)
{
    ASSERT_TRUE(notifier.connect());
    RawSegment raw;
    post("dv64", true);
    EXPECT_EQ(raw.mask(0), 0u);
    EXPECT_EQ(raw.mask(1), uint64_t(1));  // the bit of card0
}

TEST_F(DiscoveryLayoutTest, CreatorRecordsCardsUnderDv)
{
    fakeworld::setPresent("dv3,io1,card0");
    ASSERT_TRUE(notifier.connect());
    RawSegment raw;
    EXPECT_EQ(raw.mask(0), (uint64_t(1) << 3) | uint64_t(1));
    EXPECT_EQ(raw.mask(1), 0u);
    EXPECT_EQ(raw.mask(2), uint64_t(1) << 1);
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), 0u);  // enumeration posts nothing
    EXPECT_EQ(fakeworld::openDevices(), 0);               // and closes what it opened
}

TEST_F(DiscoveryLayoutTest, UnknownPrefixArrivalIsPostedWithoutABit)
{
    ASSERT_TRUE(notifier.connect());
    RawSegment raw;
    post("xy5", true);
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), 1u);
    EXPECT_EQ(raw.eventPrefix(0), "xy");
    post("xy5", true);
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), 2u);  // never present, so posted again
    post("xy5", false);
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), 2u);  // and its removal never is
    for (int mask = 0; mask < 3; ++mask)
        EXPECT_EQ(raw.mask(mask), 0u);
}

TEST_F(DiscoveryLayoutTest, MutexWordHoldsTheLockersThreadId)
{
    ASSERT_TRUE(notifier.connect());
    RawSegment raw;
    EXPECT_EQ(raw.u32(expectedLayout().mutex), 0u);
    ASSERT_EQ(notifier.lock(), 0);
    EXPECT_EQ(raw.u32(expectedLayout().mutex), uint32_t(syscall(SYS_gettid)));
    ASSERT_EQ(notifier.unlock(), 0);
    EXPECT_EQ(raw.u32(expectedLayout().mutex), 0u);
}

TEST_F(DiscoveryLayoutTest, WaitingListenerRegistersInTheConditionNotBeyondIt)
{
    fakeworld::setPresent("dv2");
    ASSERT_TRUE(notifier.connect());
    RawSegment raw;
    const std::vector<uint8_t> before = raw.bytes(0, expectedLayout().size);

    Peer listener({"QUORVALE_FAKE_PRESENT="});
    ASSERT_EQ(listener.ask("connect"), "connect 1");
    ASSERT_EQ(listener.ask("listen"), "listen 1");
    Delivery replayed;
    ASSERT_TRUE(listener.nextDelivery(replayed));
    EXPECT_EQ(replayed.node, "dv2");
    // The listener only gives the mutex back inside its condition wait.
    ASSERT_EQ(notifier.lock(), 0);
    ASSERT_EQ(notifier.unlock(), 0);

    const std::vector<uint8_t> after = raw.bytes(0, expectedLayout().size);
    const auto& layout = expectedLayout();
    EXPECT_EQ(raw.u32(layout.initState), 1u);
    EXPECT_NE(std::vector<uint8_t>(before.begin() + long(layout.condition), before.begin() + long(layout.presence)),
              std::vector<uint8_t>(after.begin() + long(layout.condition), after.begin() + long(layout.presence)));
    EXPECT_EQ(std::vector<uint8_t>(before.begin() + long(layout.presence), before.end()),
              std::vector<uint8_t>(after.begin() + long(layout.presence), after.end()));
    EXPECT_TRUE(listener.finish());
}

}  // namespace
