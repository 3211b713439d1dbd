// The layouts other processes and the driver rely on, byte for byte in the
// product's ABI (a 32-bit x86 process).
#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

#include "QuorvaleDeviceNode.h"
#include "QuorvaleInformation.h"
#include "QuorvaleInstanceRec.h"
#include "QuorvaleIterator.h"

namespace {

TEST(DeviceLayout, InstanceRecordFieldsAreInTheirOrder)
{
    const std::size_t offsets[] = {
        offsetof(QuorvaleInstanceRec, reserved0),     offsetof(QuorvaleInstanceRec, fd),
        offsetof(QuorvaleInstanceRec, unitNumber),    offsetof(QuorvaleInstanceRec, transport),
        offsetof(QuorvaleInstanceRec, interfaceType), offsetof(QuorvaleInstanceRec, sharedData),
        offsetof(QuorvaleInstanceRec, hardwareDescription),
        offsetof(QuorvaleInstanceRec, mutexInitialised), offsetof(QuorvaleInstanceRec, lock),
        offsetof(QuorvaleInstanceRec, stateA),        offsetof(QuorvaleInstanceRec, stateB),
        offsetof(QuorvaleInstanceRec, stateC),        offsetof(QuorvaleInstanceRec, driverName),
    };
    for (std::size_t i = 1; i < sizeof offsets / sizeof offsets[0]; ++i)
        EXPECT_LT(offsets[i - 1], offsets[i]) << "field " << i;
    EXPECT_EQ(sizeof(QuorvaleInstanceRec{}.hardwareDescription), 104u);
    EXPECT_TRUE(std::is_trivially_copyable<QuorvaleInstanceRec>::value);
}

#if defined(__i386__)
TEST(DeviceLayout, InstanceRecordOffsetsInThe32BitBuild)
{
    EXPECT_EQ(offsetof(QuorvaleInstanceRec, reserved0), 0u);
    EXPECT_EQ(offsetof(QuorvaleInstanceRec, fd), 4u);
    EXPECT_EQ(offsetof(QuorvaleInstanceRec, unitNumber), 8u);
    EXPECT_EQ(offsetof(QuorvaleInstanceRec, transport), 12u);
    EXPECT_EQ(offsetof(QuorvaleInstanceRec, interfaceType), 16u);
    EXPECT_EQ(offsetof(QuorvaleInstanceRec, sharedData), 20u);
    EXPECT_EQ(offsetof(QuorvaleInstanceRec, hardwareDescription), 56u);
    EXPECT_EQ(offsetof(QuorvaleInstanceRec, mutexInitialised), 160u);
    EXPECT_EQ(offsetof(QuorvaleInstanceRec, lock), 164u);
    EXPECT_EQ(sizeof(pthread_mutex_t), 24u);
    EXPECT_EQ(offsetof(QuorvaleInstanceRec, stateA), 188u);
    EXPECT_EQ(offsetof(QuorvaleInstanceRec, stateB), 192u);
    EXPECT_EQ(offsetof(QuorvaleInstanceRec, stateC), 196u);
    EXPECT_EQ(offsetof(QuorvaleInstanceRec, driverName), 232u);
    EXPECT_EQ(sizeof(QuorvaleInstanceRec), 236u);
    EXPECT_EQ(sizeof(void*), 4u);
}

TEST(DeviceLayout, ModelTableRowIsTwelveBytesInThe32BitBuild)
{
    EXPECT_EQ(sizeof(VantorixDeviceTableRow), 12u);
    EXPECT_EQ(offsetof(VantorixDeviceTableRow, flags), 4u);
    EXPECT_EQ(offsetof(VantorixDeviceTableRow, modelName), 8u);
}
#endif

TEST(DeviceLayout, DeviceNodeIsSixteenBytesWithoutGaps)
{
    EXPECT_EQ(sizeof(QuorvaleDeviceNode), 16u);
    EXPECT_EQ(offsetof(QuorvaleDeviceNode, namePrefix), 0u);
    EXPECT_EQ(offsetof(QuorvaleDeviceNode, unitNumber), 15u);
    EXPECT_FALSE(std::is_polymorphic<QuorvaleDeviceNode>::value);
    EXPECT_EQ(alignof(QuorvaleDeviceNode), 1u);
}

TEST(DeviceLayout, EnumeratedElementHoldsTheNodeThenTheSubDeviceValues)
{
    EXPECT_EQ(offsetof(EnumeratedDeviceListElmt, node), 0u);
    EXPECT_EQ(offsetof(EnumeratedDeviceListElmt, subDeviceIndex), 16u);
    EXPECT_EQ(offsetof(EnumeratedDeviceListElmt, subDeviceCount), 20u);
    EXPECT_EQ(offsetof(EnumeratedDeviceListElmt, parentDeviceId), 24u);
}

TEST(DeviceModelTable, HasEightyRowsWithThePlaceholderFirst)
{
    EXPECT_EQ(sizeof gVantorixDeviceTable / sizeof gVantorixDeviceTable[0], 80u);
    EXPECT_EQ(gVantorixDeviceTable[0].code, 0u);
    int filled = 0;
    for (unsigned i = 1; i < 80; ++i) {
        const VantorixDeviceTableRow& row = gVantorixDeviceTable[i];
        ASSERT_NE(row.modelName, nullptr) << i;
        EXPECT_EQ(std::string(row.modelName).rfind("Quorvale", 0), 0u) << i;
        EXPECT_TRUE(row.flags == 0 || row.flags == 1 || row.flags == 0x100) << i;
        if (row.code != 0) {
            ++filled;
            EXPECT_EQ((row.code >> 16) & 0xFF, i) << i;
        }
    }
    EXPECT_GT(filled, 60);
}

}  // namespace
