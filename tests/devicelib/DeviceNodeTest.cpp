#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "QuorvaleDeviceNode.h"
#include "QuorvaleInstanceRec.h"

namespace {

QuorvaleDeviceNode parsed(const char* path)
{
    QuorvaleDeviceNode node;
    memset(static_cast<void*>(&node), 0xAA, sizeof node);
    EXPECT_TRUE(node.fromPath(path)) << path;
    return node;
}

QuorvaleDeviceNode makeNode(const char* prefix, uint8_t unit)
{
    QuorvaleDeviceNode node{};
    strncpy(node.namePrefix, prefix, sizeof node.namePrefix - 1);
    node.unitNumber = unit;
    return node;
}

}  // namespace

TEST(DeviceNode, ParsesPrefixAndUnit)
{
    QuorvaleDeviceNode dv0 = parsed("/dev/vantorix/dv0");
    EXPECT_STREQ(dv0.namePrefix, "dv");
    EXPECT_EQ(dv0.unitNumber, 0);
    for (size_t i = 2; i < sizeof dv0.namePrefix; ++i)
        EXPECT_EQ(dv0.namePrefix[i], 0) << "prefix byte " << i << " is zero-filled";

    QuorvaleDeviceNode card12 = parsed("/dev/vantorix/card12");
    EXPECT_STREQ(card12.namePrefix, "card");
    EXPECT_EQ(card12.unitNumber, 12);
}

TEST(DeviceNode, UnitAbove255WrapsModulo256)
{
    QuorvaleDeviceNode io = parsed("/dev/vantorix/io300");
    EXPECT_STREQ(io.namePrefix, "io");
    EXPECT_EQ(io.unitNumber, 44);
}

TEST(DeviceNode, NameWithoutDigitsFails)
{
    QuorvaleDeviceNode node{};
    EXPECT_FALSE(node.fromPath("/dev/vantorix/dv"));
    EXPECT_FALSE(node.fromPath("/dev/vantorix/ctl"));
}

TEST(DeviceNode, PrefixOfFifteenCharactersOrMoreFails)
{
    QuorvaleDeviceNode node{};
    EXPECT_FALSE(node.fromPath("/dev/vantorix/abcdefghijklmno1"));
    EXPECT_FALSE(node.fromPath("/dev/vantorix/abcdefghijklmnop1"));
    EXPECT_TRUE(node.fromPath("/dev/vantorix/abcdefghijklmn1"));
    EXPECT_STREQ(node.namePrefix, "abcdefghijklmn");
}

TEST(DeviceNode, NameStartingWithDigitHasEmptyPrefixAndNoDriver)
{
    QuorvaleDeviceNode node = parsed("/dev/vantorix/7");
    EXPECT_STREQ(node.namePrefix, "");
    EXPECT_EQ(node.unitNumber, 7);
    EXPECT_EQ(node.driverName(), nullptr);
}

TEST(DeviceNode, TrailingTextAfterDigitsIsIgnored)
{
    QuorvaleDeviceNode node = parsed("/dev/vantorix/dv3x");
    EXPECT_STREQ(node.namePrefix, "dv");
    EXPECT_EQ(node.unitNumber, 3);
}

TEST(DeviceNode, DriverNameIndexIsCaseSensitive)
{
    EXPECT_EQ(makeNode("dv", 0).driverNameIndex(), 0);
    EXPECT_EQ(makeNode("card", 0).driverNameIndex(), 1);
    EXPECT_EQ(makeNode("io", 0).driverNameIndex(), 2);
    EXPECT_EQ(makeNode("DV", 0).driverNameIndex(), -1);
    EXPECT_STREQ(makeNode("dv", 0).driverName(), "Quorvale");
    EXPECT_STREQ(makeNode("card", 0).driverName(), "Quorvale");
    EXPECT_STREQ(makeNode("io", 0).driverName(), "VantorixIO");
}

TEST(DeviceNode, DriverNameByIndexReturnsThePrefix)
{
    EXPECT_STREQ(QuorvaleDeviceNode::driverNameByIndex(0), "dv");
    EXPECT_STREQ(QuorvaleDeviceNode::driverNameByIndex(1), "card");
    EXPECT_STREQ(QuorvaleDeviceNode::driverNameByIndex(2), "io");
}

TEST(DeviceNode, SortsByPrefixThenUnit)
{
    std::vector<QuorvaleDeviceNode> nodes = {makeNode("io", 0), makeNode("dv", 1),
                                             makeNode("card", 0), makeNode("dv", 0)};
    std::stable_sort(nodes.begin(), nodes.end());
    EXPECT_EQ(nodes[0], makeNode("card", 0));
    EXPECT_EQ(nodes[1], makeNode("dv", 0));
    EXPECT_EQ(nodes[2], makeNode("dv", 1));
    EXPECT_EQ(nodes[3], makeNode("io", 0));
    EXPECT_FALSE(makeNode("dv", 1) < makeNode("dv", 1));
    EXPECT_TRUE(makeNode("dv", 2) < makeNode("dv", 200));
}

TEST(DeviceNode, ToPath)
{
    char buffer[64];
    ASSERT_TRUE(makeNode("card", 1).toPath(buffer));
    EXPECT_STREQ(buffer, "/dev/vantorix/card1");
    ASSERT_TRUE(makeNode("io", 255).toPath(buffer));
    EXPECT_STREQ(buffer, "/dev/vantorix/io255");
}

TEST(DeviceNode, FromInstanceReportsCardNodesUnderDv)
{
    QuorvaleInstanceRec instance{};
    instance.unitNumber = 1;
    instance.driverName = kDeviceNameMappings[1].driverName;  // opened through card1
    QuorvaleDeviceNode node;
    memset(static_cast<void*>(&node), 0xAA, sizeof node);
    ASSERT_TRUE(node.fromInstance(&instance));
    EXPECT_EQ(node, makeNode("dv", 1));
    for (size_t i = 2; i < sizeof node.namePrefix; ++i)
        EXPECT_EQ(node.namePrefix[i], 0);

    instance.driverName = "VantorixIO";
    instance.unitNumber = 0x104;  // only the low byte is kept
    ASSERT_TRUE(node.fromInstance(&instance));
    EXPECT_EQ(node, makeNode("io", 4));

    instance.driverName = "Unknown";
    EXPECT_FALSE(node.fromInstance(&instance));
}

TEST(DeviceNode, AssignmentCopiesZeroFill)
{
    QuorvaleDeviceNode source = makeNode("dv", 9);
    QuorvaleDeviceNode target;
    memset(static_cast<void*>(&target), 0xAA, sizeof target);
    target = source;
    EXPECT_EQ(memcmp(&target, &source, sizeof source), 0);
}
