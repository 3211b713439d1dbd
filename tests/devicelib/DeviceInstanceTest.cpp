// Opening, mapping and closing one device.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "DeviceTestSupport.h"
#include "IoctlMessageUser.h"
#include "QuorvaleAccess.h"
#include "QuorvaleInstanceRec.h"

using simcard::fourcc;
using simcard::NodeConfig;
using simcard::Request;

namespace {

std::vector<unsigned long> requestNumbers(const std::vector<Request>& log)
{
    std::vector<unsigned long> numbers;
    for (const Request& r : log)
        numbers.push_back(r.request);
    return numbers;
}

class DeviceInstanceTest : public DeviceTest {};

TEST_F(DeviceInstanceTest, OpensLegacyNodeThroughTheMappedVersion)
{
    NodeConfig c = NodeConfig::dv(3);
    for (std::size_t i = 0; i < c.hardwareDescription.size(); ++i)
        c.hardwareDescription[i] = uint8_t(i * 7 + 1);
    card.addNode(c);
    const QuorvaleDeviceNode n = node("dv", 3);
    QuorvaleInstanceRec* rec = QuorvaleOpenDevice(&n);
    ASSERT_NE(rec, nullptr);

    EXPECT_EQ(rec->reserved0, 0u);
    EXPECT_GE(rec->fd, 0);
    EXPECT_EQ(rec->unitNumber, 3u);
    ASSERT_NE(rec->transport, nullptr);
    EXPECT_EQ(rec->transport->interfaceType(), 0);
    EXPECT_EQ(rec->interfaceType, 0u);
    ASSERT_NE(rec->sharedData, nullptr);
    EXPECT_EQ(rec->sharedData[0], 189u);
    EXPECT_EQ(0, memcmp(rec->hardwareDescription, c.hardwareDescription.data(), 104));
    EXPECT_EQ(rec->mutexInitialised, 1u);
    EXPECT_EQ(rec->stateA, 1023u);
    EXPECT_EQ(rec->stateB, 0u);
    EXPECT_EQ(rec->stateC, 0u);
    EXPECT_EQ(rec->driverName, kDeviceNameMappings[0].driverName);
    EXPECT_STREQ(GetDriverName(rec), "Quorvale");
    EXPECT_EQ(GetDriverFileDescriptor(rec), rec->fd);

    // The mapping answered the version: only the hardware description was asked.
    const std::vector<Request> log = card.requests();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].request, 0x990u);
    EXPECT_EQ(log[0].structOutputSize, 104u);
    CloseDriverConnectionCore(rec);
}

TEST_F(DeviceInstanceTest, OpensVantorixIONodeWithTheTranslatingTransport)
{
    card.addNode(NodeConfig::io(0));
    const QuorvaleDeviceNode n = node("io", 0);
    QuorvaleInstanceRec* rec = QuorvaleOpenDevice(&n);
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(rec->interfaceType, 4u);
    EXPECT_EQ(rec->driverName, kDeviceNameMappings[2].driverName);
    EXPECT_NE(rec->sharedData, nullptr);
    EXPECT_EQ(requestNumbers(card.requests()), (std::vector<unsigned long>{0x90000}));
    CloseDriverConnectionCore(rec);
}

TEST_F(DeviceInstanceTest, UnmappableNodeFallsBackToTheVersionRequest)
{
    NodeConfig c = NodeConfig::dv(0);
    c.sharedPage = false;
    card.addNode(c);
    const QuorvaleDeviceNode n = node("dv", 0);
    QuorvaleInstanceRec* rec = QuorvaleOpenDevice(&n);
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(rec->sharedData, nullptr);
    EXPECT_EQ(requestNumbers(card.requests()), (std::vector<unsigned long>{0x10000, 0x990}));
    EXPECT_EQ(card.requests()[0].scalarOutputCount, 1u);
    CloseDriverConnectionCore(rec);
}

TEST_F(DeviceInstanceTest, UnmappableVantorixIONodeAsksTheVersionAsAMessage)
{
    NodeConfig c = NodeConfig::io(1);
    c.sharedPage = false;
    card.addNode(c);
    const QuorvaleDeviceNode n = node("io", 1);
    QuorvaleInstanceRec* rec = QuorvaleOpenDevice(&n);
    ASSERT_NE(rec, nullptr);
    const std::vector<Request> log = card.requests();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_TRUE(log[0].message);
    EXPECT_EQ(log[0].messageCode, fourcc("sdsv"));
    EXPECT_EQ(log[1].request, 0x90000u);
    CloseDriverConnectionCore(rec);
}

TEST_F(DeviceInstanceTest, MappedVersion188FailsAndLeavesNoDescriptorOpen)
{
    NodeConfig c = NodeConfig::dv(0);
    c.pageVersion = 188;
    card.addNode(c);
    takeBaseline();
    const QuorvaleDeviceNode n = node("dv", 0);
    EXPECT_EQ(QuorvaleOpenDevice(&n), nullptr);
    EXPECT_EQ(card.requestCount(), 0u);  // refused before asking anything
    EXPECT_LE(descriptorsNow(), baseline);
}

TEST_F(DeviceInstanceTest, ReportedVersion188FailsAndLeavesNoDescriptorOpen)
{
    NodeConfig c = NodeConfig::dv(0);
    c.sharedPage = false;
    c.sharedDataVersion = 188;
    card.addNode(c);
    takeBaseline();
    const QuorvaleDeviceNode n = node("dv", 0);
    EXPECT_EQ(QuorvaleOpenDevice(&n), nullptr);
    EXPECT_EQ(requestNumbers(card.requests()), (std::vector<unsigned long>{0x10000}));
    EXPECT_LE(descriptorsNow(), baseline);
}

TEST_F(DeviceInstanceTest, FailedVersionRequestFailsTheOpen)
{
    NodeConfig c = NodeConfig::dv(0);
    c.sharedPage = false;
    c.failRequest(0x10000, EIO);
    card.addNode(c);
    takeBaseline();
    const QuorvaleDeviceNode n = node("dv", 0);
    EXPECT_EQ(QuorvaleOpenDevice(&n), nullptr);
    EXPECT_LE(descriptorsNow(), baseline);
}

TEST_F(DeviceInstanceTest, FailedHardwareDescriptionFailsTheOpen)
{
    card.addNode(NodeConfig::dv(0).failRequest(0x990, EIO));
    takeBaseline();
    const QuorvaleDeviceNode n = node("dv", 0);
    EXPECT_EQ(QuorvaleOpenDevice(&n), nullptr);
    EXPECT_EQ(requestNumbers(card.requests()), (std::vector<unsigned long>{0x990}));
    EXPECT_LE(descriptorsNow(), baseline);
}

TEST_F(DeviceInstanceTest, MissingNodeFailsWithNothingOpen)
{
    card.createDeviceDirectory();
    takeBaseline();
    const QuorvaleDeviceNode n = node("dv", 9);
    EXPECT_EQ(QuorvaleOpenDevice(&n), nullptr);
    EXPECT_LE(descriptorsNow(), baseline);
}

TEST_F(DeviceInstanceTest, UnknownPrefixHasNoTransportAndFails)
{
    NodeConfig c = NodeConfig::dv(0);
    c.prefix = "xy";
    card.addNode(c);
    takeBaseline();
    const QuorvaleDeviceNode n = node("xy", 0);
    EXPECT_EQ(QuorvaleOpenDevice(&n), nullptr);
    EXPECT_EQ(card.requestCount(), 0u);
    EXPECT_LE(descriptorsNow(), baseline);
}

TEST_F(DeviceInstanceTest, CloseReleasesTheDescriptorAndIgnoresNull)
{
    card.addNode(NodeConfig::dv(0));
    takeBaseline();
    const QuorvaleDeviceNode n = node("dv", 0);
    QuorvaleInstanceRec* rec = QuorvaleOpenDevice(&n);
    ASSERT_NE(rec, nullptr);
    const int fd = rec->fd;
    EXPECT_GT(simcard::openDescriptorCount(), baseline);
    CloseDriverConnectionCore(rec);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    EXPECT_LE(descriptorsNow(), baseline);
    CloseDriverConnectionCore(nullptr);
}

TEST_F(DeviceInstanceTest, MapDeviceMemoryCoreMapsPageTwoReadOnly)
{
    NodeConfig c = NodeConfig::dv(0);
    c.videoOutputInterrupt = {11, 22, 33, 44};
    card.addNode(c);
    const QuorvaleDeviceNode n = node("dv", 0);
    QuorvaleInstanceRec* rec = QuorvaleOpenDevice(&n);
    ASSERT_NE(rec, nullptr);
    const volatile uint32_t* first = rec->sharedData;
    ASSERT_TRUE(MapDeviceMemoryCore(rec));
    EXPECT_EQ(rec->sharedData[0], 189u);
    EXPECT_EQ(rec->sharedData[1], 11u);
    EXPECT_EQ(rec->sharedData[4], 44u);
    munmap(const_cast<uint32_t*>(first), 80);
    CloseDriverConnectionCore(rec);
}

TEST_F(DeviceInstanceTest, MapDeviceMemoryCoreFailsOnAnUnmappableNode)
{
    NodeConfig c = NodeConfig::dv(0);
    c.sharedPage = false;
    card.addNode(c);
    const QuorvaleDeviceNode n = node("dv", 0);
    QuorvaleInstanceRec* rec = QuorvaleOpenDevice(&n);
    ASSERT_NE(rec, nullptr);
    EXPECT_FALSE(MapDeviceMemoryCore(rec));
    EXPECT_EQ(rec->sharedData, nullptr);
    CloseDriverConnectionCore(rec);
}

TEST_F(DeviceInstanceTest, DevicePathOfACardNodeIsReportedUnderDv)
{
    card.addNode(NodeConfig::card(1));
    card.addNode(NodeConfig::io(2));
    const QuorvaleDeviceNode card1 = node("card", 1);
    const QuorvaleDeviceNode io2 = node("io", 2);
    QuorvaleInstanceRec* a = QuorvaleOpenDevice(&card1);
    QuorvaleInstanceRec* b = QuorvaleOpenDevice(&io2);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    char path[64];
    ASSERT_TRUE(GetDevicePath(a, path));
    EXPECT_STREQ(path, "/dev/vantorix/dv1");
    ASSERT_TRUE(GetDevicePath(b, path));
    EXPECT_STREQ(path, "/dev/vantorix/io2");
    CloseDriverConnectionCore(a);
    CloseDriverConnectionCore(b);
}

TEST_F(DeviceInstanceTest, DevicePathFailsForAnUnknownDriverName)
{
    QuorvaleInstanceRec rec{};
    rec.unitNumber = 4;
    rec.driverName = "Elsewhere";
    char path[64] = "untouched";
    EXPECT_FALSE(GetDevicePath(&rec, path));
    EXPECT_STREQ(path, "untouched");
}

}  // namespace
