// The transports, unmodified, against simulated cards of both driver
// generations: every legacy request reaches a VantorixIO node in the form
// that driver understands, and a Quorvale node exactly as issued.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "IoctlMessageUser.h"
#include "SimulatedCard.h"
#include "TranslationOracle.h"
#include "VantorixIOIoctlMessageUser.h"

using simcard::NodeConfig;
using simcard::Reply;
using simcard::Request;
using simcard::SimulatedCard;

namespace {

// What the scripted driver answers for a request, distinct per request.
uint64_t answerFor(int32_t legacy)
{
    return 0xA0000000ULL + static_cast<uint64_t>(legacy);
}

class TransportOnSimulatedCard : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(SimulatedCard::emulationActive()); }
    void TearDown() override
    {
        transport.reset();
        if (fd >= 0)
            close(fd);
    }

    void openTransport(const NodeConfig& config, const char* driverName)
    {
        card.addNode(config);
        fd = open(SimulatedCard::devicePath(config.name()).c_str(), O_RDWR);
        ASSERT_GE(fd, 0) << config.name() << ": " << std::strerror(errno);
        transport.reset(IoctlMessageUser::createForDriver(fd, driverName));
        ASSERT_NE(transport, nullptr);
        card.clearRequests();
    }

    SimulatedCard card;
    int fd = -1;
    std::unique_ptr<IoctlMessageUser> transport;
};

TEST_F(TransportOnSimulatedCard, EveryTranslatedRequestReachesTheVantorixIODriverAsItExpects)
{
    NodeConfig io = NodeConfig::io(0);  // strict: a legacy number would fail with ENOTTY
    const auto entries = oracle::all();
    ASSERT_EQ(entries.size(), 148u);
    for (const auto& e : entries) {
        if (e.code != 0)
            io.messageReplies[e.code] = Reply::values({answerFor(e.legacy)});
        else
            io.replies[static_cast<unsigned long>(e.request)] = Reply::values({answerFor(e.legacy)});
    }
    openTransport(io, "VantorixIO");

    for (const auto& e : entries) {
        SCOPED_TRACE(::testing::Message() << std::hex << "legacy 0x" << e.legacy << " " << e.text);
        card.clearRequests();
        const unsigned long long in = static_cast<unsigned long long>(e.legacy) << 8 | 0x5A;
        unsigned long long out = 0;
        ASSERT_EQ(transport->writeScalarReadScalar(e.legacy, &in, 1, &out, 1), 0);
        EXPECT_EQ(out, answerFor(e.legacy));

        const std::vector<Request> log = card.requests();
        ASSERT_EQ(log.size(), 1u);
        const Request& r = log[0];
        EXPECT_EQ(r.node, "io0");
        EXPECT_EQ(r.request, static_cast<unsigned long>(e.request));
        if (e.code != 0) {
            EXPECT_TRUE(r.message);
            EXPECT_EQ(r.messageCode, e.code);
            EXPECT_EQ(simcard::fourccText(r.messageCode), e.text);
            EXPECT_EQ(r.messageReserved, 0u);
            EXPECT_EQ(r.messageScalars[0], in);
            EXPECT_EQ(r.scalarInputCount, 0u);
            EXPECT_EQ(r.structInputSize, 40u);
            EXPECT_EQ(r.scalarOutputCount, 0u);
            EXPECT_EQ(r.structOutputSize, 40u);
        } else {
            EXPECT_FALSE(r.message);
            EXPECT_EQ(r.scalarInputCount, 1u);
            EXPECT_EQ(r.scalarOutputCount, 1u);
            ASSERT_EQ(r.scalarInputs.size(), 1u);
            EXPECT_EQ(r.scalarInputs[0], in);
        }
    }
}

TEST_F(TransportOnSimulatedCard, UnlistedLegacyNumberNeverReachesTheVantorixIODriver)
{
    openTransport(NodeConfig::io(1), "VantorixIO");
    unsigned int value = 0x77;
    EXPECT_EQ(transport->readScalar(0x915, &value), 1002);
    EXPECT_EQ(value, 0x77u);
    EXPECT_EQ(card.requestCount(), 0u);
}

TEST_F(TransportOnSimulatedCard, SubDeviceMessageReadsTheConfiguredValues)
{
    NodeConfig io = NodeConfig::io(2);
    io.subDeviceIndex = 1;
    io.subDeviceCount = 2;
    io.parentDeviceId = 7;
    openTransport(io, "VantorixIO");
    unsigned long long values[3] = {};
    ASSERT_EQ(transport->readScalar(0x99A, values, 3), 0);
    EXPECT_EQ(values[0], 1u);
    EXPECT_EQ(values[1], 2u);
    EXPECT_EQ(values[2], 7u);
    ASSERT_EQ(card.requestCount(), 1u);
    EXPECT_EQ(card.requests()[0].messageCode, 0x67737562u);
}

TEST_F(TransportOnSimulatedCard, HardwareDescriptionComesThroughTheRenumberedRequest)
{
    NodeConfig io = NodeConfig::io(3);
    io.hardwareDescription[0] = 0x11;
    io.hardwareDescription[103] = 0x99;
    openTransport(io, "VantorixIO");
    uint8_t description[104] = {};
    unsigned size = sizeof description;
    ASSERT_EQ(transport->readStruct(0x990, description, &size), 0);
    EXPECT_EQ(size, 104u);
    EXPECT_EQ(description[0], 0x11);
    EXPECT_EQ(description[103], 0x99);
    ASSERT_EQ(card.requestCount(), 1u);
    EXPECT_EQ(card.requests()[0].request, 0x90000u);
}

TEST_F(TransportOnSimulatedCard, BufferMessageIsExchangedInPlace)
{
    openTransport(NodeConfig::io(4), "VantorixIO");
    _VantorixIOBufferMessageRequest buffer;
    for (unsigned i = 0; i < sizeof buffer.bytes; ++i)
        buffer.bytes[i] = static_cast<uint8_t>(i * 7);
    ASSERT_EQ(transport->sendBufferMessage(&buffer), 0);
    ASSERT_EQ(card.requestCount(), 1u);
    const Request r = card.requests()[0];
    EXPECT_EQ(r.request, 0x90001u);
    EXPECT_EQ(r.structInputSize, 1064u);
    EXPECT_EQ(r.structOutputSize, 1064u);
    EXPECT_EQ(buffer.bytes[1063], static_cast<uint8_t>(1063 * 7));
}

TEST_F(TransportOnSimulatedCard, EveryLegacyNumberReachesTheQuorvaleDriverUnchanged)
{
    NodeConfig dv = NodeConfig::dv(0);
    const auto entries = oracle::all();
    for (const auto& e : entries)
        dv.replies[static_cast<unsigned long>(e.legacy)] = Reply::values({answerFor(e.legacy)});
    openTransport(dv, "Quorvale");

    for (const auto& e : entries) {
        SCOPED_TRACE(::testing::Message() << std::hex << "legacy 0x" << e.legacy);
        card.clearRequests();
        const unsigned long long in = 0x5A;
        unsigned long long out = 0;
        ASSERT_EQ(transport->writeScalarReadScalar(e.legacy, &in, 1, &out, 1), 0);
        EXPECT_EQ(out, answerFor(e.legacy));
        const std::vector<Request> log = card.requests();
        ASSERT_EQ(log.size(), 1u);
        EXPECT_EQ(log[0].node, "dv0");
        EXPECT_EQ(log[0].request, static_cast<unsigned long>(e.legacy));
        EXPECT_FALSE(log[0].message);
        EXPECT_EQ(log[0].scalarInputCount, 1u);
        EXPECT_EQ(log[0].scalarOutputCount, 1u);
    }
}

TEST_F(TransportOnSimulatedCard, QuorvaleDriverRefusesMessagesBeforeAnyRequest)
{
    openTransport(NodeConfig::dv(1), "Quorvale");
    _VantorixIOMessageRequest record{};
    EXPECT_EQ(transport->sendMessage(&record), 1012);
    EXPECT_EQ(card.requestCount(), 0u);
}

TEST_F(TransportOnSimulatedCard, FailingDriverRequestReturnsMinusOneAndLeavesTheOutput)
{
    NodeConfig dv = NodeConfig::dv(2);
    dv.failRequest(0x994, EIO);
    openTransport(dv, "Quorvale");
    unsigned char usable = 0x33;
    EXPECT_EQ(transport->readScalar(0x994, &usable), -1);
    EXPECT_EQ(usable, 0x33);
}

TEST_F(TransportOnSimulatedCard, MapsTheSharedDataPageOfTheNode)
{
    NodeConfig dv = NodeConfig::dv(3);
    dv.sharedDataVersion = 189;
    openTransport(dv, "Quorvale");
    void* area = transport->mapMemory(2, 80, false);
    ASSERT_NE(area, nullptr);
    uint32_t version = 0;
    std::memcpy(&version, area, sizeof version);
    EXPECT_EQ(version, 189u);
    EXPECT_EQ(munmap(area, 80), 0);
}

TEST_F(TransportOnSimulatedCard, NodeWithoutSharedPageGivesNoMapping)
{
    NodeConfig dv = NodeConfig::dv(4);
    dv.sharedPage = false;
    openTransport(dv, "Quorvale");
    EXPECT_EQ(transport->mapMemory(2, 80, false), nullptr);
}

}  // namespace
