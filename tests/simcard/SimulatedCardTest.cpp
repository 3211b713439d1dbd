#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>
#include <vector>

#include "SimulatedCard.h"

using simcard::fourcc;
using simcard::NodeConfig;
using simcard::Reply;
using simcard::Request;
using simcard::SimulatedCard;

namespace {

// A legacy argument block built by hand: header, inputs, room for outputs.
struct Block {
    std::vector<uint8_t> bytes;
    uint32_t header[4];

    Block(std::vector<uint64_t> in, std::vector<uint8_t> structIn, uint32_t outCount,
          uint32_t outSize)
        : header{uint32_t(in.size()), uint32_t(structIn.size()), outCount, outSize}
    {
        bytes.assign(16 + 8 * in.size() + structIn.size() + 8 * outCount + outSize, 0xEE);
        memcpy(bytes.data(), header, 16);
        if (!in.empty())
            memcpy(bytes.data() + 16, in.data(), 8 * in.size());
        if (!structIn.empty())
            memcpy(bytes.data() + 16 + 8 * in.size(), structIn.data(), structIn.size());
    }
    uint32_t returned(int word) const
    {
        uint32_t v;
        memcpy(&v, bytes.data() + 4 * word, 4);
        return v;
    }
    uint64_t outScalar(std::size_t i) const
    {
        uint64_t v;
        memcpy(&v, bytes.data() + 16 + 8 * header[0] + header[1] + 8 * i, 8);
        return v;
    }
    const uint8_t* outStruct() const
    {
        return bytes.data() + 16 + 8 * header[0] + header[1] + 8 * returned(2);
    }
};

class SimulatedCardTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(SimulatedCard::emulationActive()); }
    void TearDown() override
    {
        for (int fd : fds)
            close(fd);
    }
    int openNode(const std::string& name)
    {
        const int fd = open(SimulatedCard::devicePath(name).c_str(), O_RDWR);
        EXPECT_GE(fd, 0) << name << ": " << strerror(errno);
        if (fd >= 0)
            fds.push_back(fd);
        return fd;
    }

    SimulatedCard card;
    std::vector<int> fds;
};

TEST_F(SimulatedCardTest, LegacyBlockRecordsHeaderScalarsAndStructure)
{
    card.addNode(NodeConfig::dv(0));
    const int fd = openNode("dv0");
    Block b({0x11, 0x2200000033ull}, {1, 2, 3, 4, 5}, 2, 6);
    ASSERT_EQ(ioctl(fd, 0x97C, b.bytes.data()), 0);

    const std::vector<Request> log = card.requests();
    ASSERT_EQ(log.size(), 1u);
    const Request& r = log[0];
    EXPECT_EQ(r.node, "dv0");
    EXPECT_EQ(r.request, 0x97Cu);
    EXPECT_FALSE(r.raw);
    EXPECT_FALSE(r.message);
    EXPECT_EQ(r.scalarInputCount, 2u);
    EXPECT_EQ(r.structInputSize, 5u);
    EXPECT_EQ(r.scalarOutputCount, 2u);
    EXPECT_EQ(r.structOutputSize, 6u);
    EXPECT_EQ(r.scalarInputs, (std::vector<uint64_t>{0x11, 0x2200000033ull}));
    EXPECT_EQ(r.structInput, (std::vector<uint8_t>{1, 2, 3, 4, 5}));
    // An unknown request answers the offered outputs, zero-filled.
    EXPECT_EQ(b.returned(2), 2u);
    EXPECT_EQ(b.returned(3), 6u);
    EXPECT_EQ(b.outScalar(0), 0u);
    EXPECT_EQ(b.outScalar(1), 0u);
}

TEST_F(SimulatedCardTest, LegacyInformationRequestsAnswerFromTheConfiguration)
{
    NodeConfig c = NodeConfig::dv(1);
    c.subDeviceIndex = 1;
    c.subDeviceCount = 2;
    c.parentDeviceId = 7;
    c.hardwareDescription[0] = 0xAB;
    c.hardwareDescription[103] = 0xCD;
    card.addNode(c);
    const int fd = openNode("dv1");

    Block sub({}, {}, 3, 0);
    ASSERT_EQ(ioctl(fd, 0x99A, sub.bytes.data()), 0);
    EXPECT_EQ(sub.returned(2), 3u);
    EXPECT_EQ(sub.outScalar(0), 1u);
    EXPECT_EQ(sub.outScalar(1), 2u);
    EXPECT_EQ(sub.outScalar(2), 7u);

    Block version({}, {}, 1, 0);
    ASSERT_EQ(ioctl(fd, 0x10000, version.bytes.data()), 0);
    EXPECT_EQ(version.outScalar(0), 189u);

    Block hw({}, {}, 0, 104);
    ASSERT_EQ(ioctl(fd, 0x990, hw.bytes.data()), 0);
    EXPECT_EQ(hw.returned(3), 104u);
    EXPECT_EQ(hw.outStruct()[0], 0xAB);
    EXPECT_EQ(hw.outStruct()[103], 0xCD);
}

TEST_F(SimulatedCardTest, ScriptedSmallerStructureSizeReachesTheClient)
{
    NodeConfig c = NodeConfig::dv(0);
    Reply r = Reply::bytes({9, 8, 7, 6, 5, 4, 3, 2});
    r.structSize = 4;
    c.replies[0x9E0] = r;
    card.addNode(c);
    const int fd = openNode("dv0");
    Block b({}, {}, 0, 65);
    ASSERT_EQ(ioctl(fd, 0x9E0, b.bytes.data()), 0);
    EXPECT_EQ(b.returned(3), 4u);
    EXPECT_EQ(b.outStruct()[0], 9);
    EXPECT_EQ(b.outStruct()[3], 6);
    EXPECT_EQ(b.outStruct()[4], 0xEE);  // beyond the returned size: untouched
}

TEST_F(SimulatedCardTest, FailingRequestReturnsMinusOneWithErrno)
{
    card.addNode(NodeConfig::dv(0).failRequest(0x994, EIO));
    const int fd = openNode("dv0");
    Block b({}, {}, 1, 0);
    errno = 0;
    EXPECT_EQ(ioctl(fd, 0x994, b.bytes.data()), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(b.returned(2), 1u);  // nothing written back
    ASSERT_EQ(card.requestCount(), 1u);
    EXPECT_EQ(card.requests()[0].request, 0x994u);
}

TEST_F(SimulatedCardTest, VantorixIOMessageRecordsTheCodeAndAnswersInPlace)
{
    NodeConfig c = NodeConfig::io(0);
    c.subDeviceIndex = 3;
    c.subDeviceCount = 4;
    c.parentDeviceId = 0x55;
    card.addNode(c);
    const int fd = openNode("io0");

    std::vector<uint8_t> record(40, 0);
    const uint32_t code = fourcc("gsub");
    memcpy(record.data(), &code, 4);
    const uint64_t first = 0x1234;
    memcpy(record.data() + 8, &first, 8);
    Block b({}, record, 0, 40);
    ASSERT_EQ(ioctl(fd, simcard::kMessageRequest, b.bytes.data()), 0);

    ASSERT_EQ(card.requestCount(), 1u);
    const Request r = card.requests()[0];
    EXPECT_TRUE(r.message);
    EXPECT_EQ(r.request, 0x90001u);
    EXPECT_EQ(r.messageCode, 0x67737562u);
    EXPECT_EQ(r.messageScalars[0], 0x1234u);
    EXPECT_EQ(r.structInputSize, 40u);
    EXPECT_EQ(r.structOutputSize, 40u);
    EXPECT_EQ(simcard::fourccText(r.messageCode), "gsub");

    EXPECT_EQ(b.returned(3), 40u);
    uint64_t out[3];
    memcpy(out, b.outStruct() + 8, sizeof out);
    EXPECT_EQ(out[0], 3u);
    EXPECT_EQ(out[1], 4u);
    EXPECT_EQ(out[2], 0x55u);
}

TEST_F(SimulatedCardTest, VantorixIONodeRejectsLegacyNumbersButAnswersRenumbered)
{
    NodeConfig c = NodeConfig::io(0);
    c.hardwareDescription[5] = 0x42;
    card.addNode(c);
    const int fd = openNode("io0");
    Block legacy({}, {}, 0, 104);
    errno = 0;
    EXPECT_EQ(ioctl(fd, 0x990, legacy.bytes.data()), -1);
    EXPECT_EQ(errno, ENOTTY);
    Block renumbered({}, {}, 0, 104);
    ASSERT_EQ(ioctl(fd, 0x90000, renumbered.bytes.data()), 0);
    EXPECT_EQ(renumbered.outStruct()[5], 0x42);
}

TEST_F(SimulatedCardTest, StatReportsCharacterDeviceWithMajorAndMinor)
{
    NodeConfig c = NodeConfig::dv(0);
    c.minor = 42;
    card.addNode(c);
    NodeConfig other = NodeConfig::dv(1);
    other.major = 11;
    other.minor = 3;
    card.addNode(other);
    struct stat st {};
    ASSERT_EQ(stat("/dev/vantorix/dv0", &st), 0);
    EXPECT_TRUE(S_ISCHR(st.st_mode));
    EXPECT_EQ(major(st.st_rdev), 10u);
    EXPECT_EQ(minor(st.st_rdev), 42u);
    ASSERT_EQ(stat("/dev/vantorix/dv1", &st), 0);
    EXPECT_TRUE(S_ISCHR(st.st_mode));
    EXPECT_EQ(major(st.st_rdev), 11u);
}

TEST_F(SimulatedCardTest, BlockDeviceNodeIsNotACharacterDevice)
{
    NodeConfig c = NodeConfig::dv(0);
    c.kind = simcard::NodeKind::BlockDevice;
    card.addNode(c);
    struct stat st {};
    ASSERT_EQ(stat("/dev/vantorix/dv0", &st), 0);
    EXPECT_TRUE(S_ISBLK(st.st_mode));
    EXPECT_FALSE(S_ISCHR(st.st_mode));
}

TEST_F(SimulatedCardTest, RawRequestRecordsAndAnswersThePointedBytes)
{
    NodeConfig c = NodeConfig::dv(0);
    c.rawRequests[0x5001] = 8;
    c.rawRequests[0x5002] = 0;
    c.replies[0x5001] = Reply::bytes({0xA1, 0xA2});
    card.addNode(c);
    const int fd = openNode("dv0");
    uint8_t bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_EQ(ioctl(fd, 0x5001, bytes), 0);
    EXPECT_EQ(bytes[0], 0xA1);
    EXPECT_EQ(bytes[1], 0xA2);
    EXPECT_EQ(bytes[2], 3);
    ASSERT_EQ(ioctl(fd, 0x5002, 77ul), 0);

    const std::vector<Request> log = card.requests();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_TRUE(log[0].raw);
    EXPECT_EQ(log[0].rawBytes, (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_TRUE(log[1].raw);
    EXPECT_EQ(log[1].rawValue, 77u);
    card.clearRequests();
    EXPECT_EQ(card.requestCount(), 0u);
}

TEST_F(SimulatedCardTest, SharedPageMapsAndSeesRewrites)
{
    NodeConfig c = NodeConfig::dv(0);
    c.videoOutputInterrupt = {1, 2, 3, 4};
    card.addNode(c);
    const int fd = openNode("dv0");
    void* map = mmap(nullptr, 80, PROT_READ, MAP_PRIVATE, fd, 2 * getpagesize());
    ASSERT_NE(map, MAP_FAILED) << strerror(errno);
    const volatile uint32_t* words = static_cast<const volatile uint32_t*>(map);
    EXPECT_EQ(words[0], 189u);
    EXPECT_EQ(words[1], 1u);
    EXPECT_EQ(words[4], 4u);
    card.writeSharedWords("dv0", 1, {10, 20, 30, 40});
    EXPECT_EQ(words[1], 10u);
    EXPECT_EQ(words[4], 40u);
    munmap(map, 80);
}

TEST_F(SimulatedCardTest, NodeWithoutSharedPageCannotBeMappedButAnswers)
{
    NodeConfig c = NodeConfig::dv(0);
    c.sharedPage = false;
    c.minor = 9;
    card.addNode(c);
    struct stat st {};
    ASSERT_EQ(stat("/dev/vantorix/dv0", &st), 0);
    EXPECT_TRUE(S_ISCHR(st.st_mode));
    EXPECT_EQ(major(st.st_rdev), 10u);
    EXPECT_EQ(minor(st.st_rdev), 9u);
    const int fd = openNode("dv0");
    errno = 0;
    EXPECT_EQ(mmap(nullptr, 80, PROT_READ, MAP_PRIVATE, fd, 2 * getpagesize()), MAP_FAILED);
    EXPECT_EQ(errno, ENODEV);
    Block version({}, {}, 1, 0);
    ASSERT_EQ(ioctl(fd, 0x10000, version.bytes.data()), 0);
    EXPECT_EQ(version.outScalar(0), 189u);
}

TEST_F(SimulatedCardTest, UpdateChangesAnswersWhileRunning)
{
    card.addNode(NodeConfig::dv(0));
    const int fd = openNode("dv0");
    card.update("dv0", [](NodeConfig& c) { c.busyState = 5; });
    Block b({}, {}, 1, 0);
    ASSERT_EQ(ioctl(fd, 0x99D, b.bytes.data()), 0);
    EXPECT_EQ(b.outScalar(0), 5u);
}

TEST_F(SimulatedCardTest, RemovedNodeDisappears)
{
    card.addNode(NodeConfig::dv(0));
    card.removeNode("dv0");
    struct stat st {};
    EXPECT_NE(stat("/dev/vantorix/dv0", &st), 0);
}

TEST_F(SimulatedCardTest, DescriptorCountReturnsToBaselineAfterClose)
{
    card.addNode(NodeConfig::dv(0));
    const std::size_t before = simcard::baselineDescriptorCount();
    const int fd = open("/dev/vantorix/dv0", O_RDWR);
    ASSERT_GE(fd, 0);
    EXPECT_GT(simcard::openDescriptorCount(), before);
    close(fd);
    // At most the baseline: the emulated side of the baseline's own
    // connection may close meanwhile.
    EXPECT_LE(simcard::settledDescriptorCount(before), before);
}

}  // namespace
