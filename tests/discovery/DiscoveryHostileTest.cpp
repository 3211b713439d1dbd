// Whatever anyone writes into the shared object: indexes out of the ring,
// prefixes without a NUL, units past the presence masks.
#include <cstring>
#include <string>
#include <vector>

#include "DiscoveryTestSupport.h"
#include "FakeDeviceWorld.h"
#include "QuorvaleAccess.h"
#include "QuorvaleDeviceDiscoveryNotifier.h"

using namespace discoverytest;

namespace {

class Recorder : public IQuorvaleDeviceDiscoveryNotifierDelegate {
public:
    void ProcessNotification(QuorvaleInstanceRec* device, bool arrived) override
    {
        nodes.push_back(fakeworld::nodeNameOf(device) + (arrived ? "+" : "-"));
        CloseDriverConnectionCore(device);
    }
    std::vector<std::string> nodes;
};

class DiscoveryHostileTest : public DiscoveryTest {
protected:
    void TearDown() override
    {
        notifier.delegate = nullptr;  // never listened: nothing to cancel
        notifier.disconnect();
        fakeworld::setPresent("");
        DiscoveryTest::TearDown();
    }

    bool post(const char* name, bool arrived)
    {
        const QuorvaleDeviceNode node = fakeworld::parseNode(name);
        return notifier.notify(&node, arrived);
    }

    void setWriteIndex(int32_t value)
    {
        RawSegment raw;
        raw.setU32(expectedLayout().writeIndex, uint32_t(value));
    }

    // One wake-up of a listener in this thread, with the mutex held.
    std::vector<std::string> deliver(int fromSlot)
    {
        Recorder recorder;
        notifier.delegate = &recorder;
        notifier.readIndex = fromSlot;
        notifier.lock();
        notifier.deliverNewEvents();
        notifier.unlock();
        notifier.delegate = nullptr;
        return recorder.nodes;
    }

    QuorvaleDeviceDiscoveryNotifier notifier;
};

TEST_F(DiscoveryHostileTest, PosterStartsAgainAtSlotZeroAfterAnOutOfRangeWriteIndex)
{
    ASSERT_TRUE(notifier.connect());
    RawSegment raw;
    for (const int32_t damaged : {100000, 20, -1, INT32_MIN}) {
        setWriteIndex(damaged);
        const std::vector<uint8_t> before = raw.bytes(0, expectedLayout().size);
        ASSERT_TRUE(post("io5", true));
        ASSERT_TRUE(post("io5", false));
        EXPECT_EQ(raw.u32(expectedLayout().writeIndex), 2u);
        EXPECT_EQ(raw.eventPrefix(0), "io");
        EXPECT_EQ(raw.eventFlags(0) & 1, 1);
        EXPECT_EQ(raw.eventFlags(1) & 1, 0);
        // Nothing but slots 0 and 1 and the write index changed.
        const std::vector<uint8_t> after = raw.bytes(0, expectedLayout().size);
        for (size_t at = 0; at < after.size(); ++at) {
            const bool inFirstTwoSlots =
                at >= expectedLayout().events && at < expectedLayout().events + 2 * kEventSize;
            const bool inWriteIndex = at >= expectedLayout().writeIndex && at < expectedLayout().writeIndex + 4;
            if (!inFirstTwoSlots && !inWriteIndex && at >= expectedLayout().presence) {
                EXPECT_EQ(after[at], before[at]) << "byte " << at << " after write index " << damaged;
            }
        }
    }
}

TEST_F(DiscoveryHostileTest, ListenerDeliversNothingFromADamagedRingAndReadsOnFromSlotZero)
{
    ASSERT_TRUE(notifier.connect());
    ASSERT_TRUE(post("dv1", true));
    for (const int32_t damaged : {100000, 20, -7}) {
        setWriteIndex(damaged);
        EXPECT_TRUE(deliver(5).empty());
        EXPECT_EQ(notifier.readIndex, 0);
    }
    // The next post goes into slot 0, where the listener now reads.
    ASSERT_TRUE(post("dv2", true));
    EXPECT_EQ(deliver(0), (std::vector<std::string>{"dv2+"}));
}

TEST_F(DiscoveryHostileTest, ListenerDeliversAtMostOneLapPerWakeUp)
{
    ASSERT_TRUE(notifier.connect());
    for (int unit = 0; unit < 19; ++unit)
        ASSERT_TRUE(post(("dv" + std::to_string(unit)).c_str(), true));
    // From the slot just after the write index: nineteen events, the whole lap.
    const std::vector<std::string> lap = deliver(0);
    ASSERT_EQ(lap.size(), 19u);
    EXPECT_EQ(lap.front(), "dv0+");
    EXPECT_EQ(lap.back(), "dv18+");
    EXPECT_EQ(notifier.readIndex, 19);
    EXPECT_TRUE(deliver(19).empty());
}

TEST_F(DiscoveryHostileTest, EventWhosePrefixHasNoNulIsNotDelivered)
{
    ASSERT_TRUE(notifier.connect());
    ASSERT_TRUE(post("dv1", true));
    ASSERT_TRUE(post("dv2", true));
    RawSegment raw;
    for (size_t i = 0; i < 15; ++i)
        raw.setByte(expectedLayout().events + 1 + i, 'd');  // slot 0's prefix
    const int opensBefore = fakeworld::opensTried();
    EXPECT_EQ(deliver(0), (std::vector<std::string>{"dv2+"}));
    EXPECT_EQ(fakeworld::opensTried(), opensBefore + 1);
    EXPECT_EQ(notifier.readIndex, 2);
}

TEST_F(DiscoveryHostileTest, NodeWithoutNulIsNotPosted)
{
    ASSERT_TRUE(notifier.connect());
    RawSegment raw;
    const std::vector<uint8_t> before = raw.bytes(0, expectedLayout().size);
    QuorvaleDeviceNode node;
    memset(node.namePrefix, 'i', sizeof node.namePrefix);
    node.unitNumber = 1;
    EXPECT_TRUE(notifier.notify(&node, true));
    EXPECT_EQ(raw.bytes(expectedLayout().presence, expectedLayout().size - expectedLayout().presence),
              std::vector<uint8_t>(before.begin() + long(expectedLayout().presence), before.end()));
}

TEST_F(DiscoveryHostileTest, UnitsPastTheMasksHaveNoPresenceBit)
{
    ASSERT_TRUE(notifier.connect());
    ASSERT_TRUE(post("dv1", true));
    ASSERT_TRUE(post("dv1", false));  // a stored removal in slot 1
    RawSegment raw;
    const uint8_t removalFlags = raw.eventFlags(1);
    for (const char* beyond : {"io64", "io200", "card128", "dv192", "dv255"}) {
        ASSERT_TRUE(post(beyond, true));
        ASSERT_TRUE(post(beyond, false));  // absent: never posted
    }
    EXPECT_EQ(raw.mask(0), 0u);
    EXPECT_EQ(raw.mask(1), 0u);
    EXPECT_EQ(raw.mask(2), 0u);
    EXPECT_EQ(raw.eventFlags(1), removalFlags);
    EXPECT_EQ(raw.eventPrefix(1), "dv");
    EXPECT_EQ(raw.u32(expectedLayout().writeIndex), 7u);  // two events, then one arrival each
    EXPECT_EQ(raw.eventPrefix(6), "dv");
    EXPECT_EQ(raw.eventUnit(6), 255);

    // Bit 191, the last one, still exists.
    ASSERT_TRUE(post("io63", true));
    EXPECT_EQ(raw.mask(2), uint64_t(1) << 63);
}

TEST_F(DiscoveryHostileTest, CreatorRecordsNoBitForUnitsPastTheMasks)
{
    fakeworld::setPresent("io64,dv3,io63");
    ASSERT_TRUE(notifier.connect());
    RawSegment raw;
    EXPECT_EQ(raw.mask(0), uint64_t(1) << 3);
    EXPECT_EQ(raw.mask(1), 0u);
    EXPECT_EQ(raw.mask(2), uint64_t(1) << 63);
    EXPECT_EQ(raw.bytes(expectedLayout().events, 20 * kEventSize), std::vector<uint8_t>(20 * kEventSize, 0));
}

}  // namespace
