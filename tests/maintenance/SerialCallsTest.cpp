// The serial port calls: the 64-byte bound, the interrupt records and the
// argument checks.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "MaintenanceRecords.h"
#include "RecordingTransport.h"
#include "TransportCallTable.h"

namespace maintenance_test {
namespace {

using quorvale::SerialTransferRec;

class SerialCalls : public ::testing::Test {
protected:
    RecordingTransport transport;
    QuorvaleInstanceRec rec = recordFor(&transport);
    const std::vector<uint8_t> data = counting(100, 1);
    uint8_t buffer[128];

    SerialCalls() { std::memset(buffer, 0xA5, sizeof buffer); }

    void replyWith(uint32_t count, uint32_t extra)
    {
        SerialTransferRec reply{};
        reply.count = count;
        reply.extra = extra;
        for (unsigned i = 0; i < sizeof reply.data; ++i)
            reply.data[i] = static_cast<uint8_t>(0xC0 + i);
        transport.replyStruct = bytesOf(&reply, sizeof reply);
    }
};

TEST_F(SerialCalls, AWriteOfOneHundredBytesSendsSixtyFour)
{
    uint32_t result = 0;
    ASSERT_EQ(SerialWrite(&rec, data.data(), 100, &result), 0);
    ASSERT_EQ(transport.requests.size(), 1u);
    EXPECT_EQ(transport.requests[0].request, 0x9DA);
    EXPECT_EQ(transport.requests[0].structIn, std::vector<uint8_t>(data.begin(), data.begin() + 64));
    EXPECT_EQ(transport.requests[0].structOutSize, 4u);
}

TEST_F(SerialCalls, AnInterruptWriteOfOneHundredBytesCarriesSixtyFourInTheRecord)
{
    uint32_t result = 0;
    ASSERT_EQ(SerialWriteWithInterrupt(&rec, data.data(), 100, &result, 0x12345678), 0);
    ASSERT_EQ(transport.requests.size(), 1u);
    const std::vector<uint8_t>& sent = transport.requests[0].structIn;
    ASSERT_EQ(sent.size(), 72u);
    SerialTransferRec record;
    std::memcpy(&record, sent.data(), sizeof record);
    EXPECT_EQ(record.count, 64u);
    EXPECT_EQ(record.extra, 0x12345678u);
    EXPECT_EQ(bytesOf(record.data, 64), std::vector<uint8_t>(data.begin(), data.begin() + 64));
}

TEST_F(SerialCalls, AShortInterruptWriteLeavesTheRestOfTheRecordZero)
{
    uint32_t result = 0;
    ASSERT_EQ(SerialWriteWithInterrupt(&rec, data.data(), 3, &result, 0), 0);
    std::vector<uint8_t> expected = {3, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3};
    expected.resize(72, 0);
    EXPECT_EQ(transport.requests.at(0).structIn, expected);
}

TEST_F(SerialCalls, AReadOfOneHundredBytesOffersSixtyFour)
{
    transport.replyStruct = counting(64, 0x10);
    uint32_t bytesRead = 0;
    ASSERT_EQ(SerialRead(&rec, buffer, 100, &bytesRead), 0);
    EXPECT_EQ(transport.requests.at(0).structOutSize, 64u);
    EXPECT_EQ(bytesRead, 64u);
    EXPECT_EQ(bytesOf(buffer, 64), counting(64, 0x10));
    EXPECT_EQ(buffer[64], 0xA5);
}

TEST_F(SerialCalls, AnInterruptReadAsksForAtMostSixtyFour)
{
    replyWith(0, 0);
    uint32_t bytesRead = 0, extra = 0;
    ASSERT_EQ(SerialReadWithInterrupt(&rec, buffer, 100, &bytesRead, &extra), 0);
    EXPECT_EQ(transport.requests.at(0).request, 0x9DC);
    EXPECT_EQ(transport.requests.at(0).structIn, std::vector<uint8_t>({64, 0, 0, 0}));
    EXPECT_EQ(transport.requests.at(0).structOutSize, 72u);
}

TEST_F(SerialCalls, AReplyCountAboveTheCallersLengthCopiesOnlyLengthBytes)
{
    replyWith(10, 0x99);
    uint32_t bytesRead = 0, extra = 0;
    ASSERT_EQ(SerialReadWithInterrupt(&rec, buffer, 4, &bytesRead, &extra), 0);
    EXPECT_EQ(bytesRead, 4u);
    EXPECT_EQ(extra, 0x99u);
    EXPECT_EQ(bytesOf(buffer, 5), std::vector<uint8_t>({0xC0, 0xC1, 0xC2, 0xC3, 0xA5}));
}

TEST_F(SerialCalls, AReplyCountBeyondTheDriverBufferCopiesAtMostSixtyFour)
{
    replyWith(200, 0x99);
    uint32_t bytesRead = 0, extra = 0;
    ASSERT_EQ(SerialReadWithInterrupt(&rec, buffer, 100, &bytesRead, &extra), 0);
    EXPECT_EQ(bytesRead, 64u);
    EXPECT_EQ(buffer[63], 0xC0 + 63);
    EXPECT_EQ(buffer[64], 0xA5);
}

TEST_F(SerialCalls, TheExtraWordComesOnlyWhenBytesArrived)
{
    replyWith(0, 0x99);
    uint32_t bytesRead = 7, extra = 7;
    ASSERT_EQ(SerialReadWithInterrupt(&rec, buffer, 16, &bytesRead, &extra), 0);
    EXPECT_EQ(bytesRead, 0u);
    EXPECT_EQ(extra, 0u) << "no bytes, no extra word";
    EXPECT_EQ(buffer[0], 0xA5);

    replyWith(1, 0x99);
    ASSERT_EQ(SerialReadWithInterrupt(&rec, buffer, 16, &bytesRead, &extra), 0);
    EXPECT_EQ(bytesRead, 1u);
    EXPECT_EQ(extra, 0x99u);
    EXPECT_EQ(buffer[0], 0xC0);
}

TEST_F(SerialCalls, AFailedInterruptReadWritesNothing)
{
    replyWith(5, 0x99);
    transport.status = -1;
    uint32_t bytesRead = 7, extra = 7;
    EXPECT_EQ(SerialReadWithInterrupt(&rec, buffer, 16, &bytesRead, &extra), -1);
    EXPECT_EQ(bytesRead, 7u);
    EXPECT_EQ(extra, 7u);
    EXPECT_EQ(buffer[0], 0xA5);
}

TEST_F(SerialCalls, ZeroLengthsAndNullPointersGiveOneWithoutARequest)
{
    uint32_t n = 0;
    EXPECT_EQ(SerialRead(&rec, nullptr, 10, &n), 1);
    EXPECT_EQ(SerialRead(&rec, buffer, 0, &n), 1);
    EXPECT_EQ(SerialWrite(&rec, nullptr, 10, &n), 1);
    EXPECT_EQ(SerialWrite(&rec, data.data(), 0, &n), 1);
    EXPECT_EQ(SerialWriteWithInterrupt(&rec, nullptr, 10, &n, 0), 1);
    EXPECT_EQ(SerialWriteWithInterrupt(&rec, data.data(), 0, &n, 0), 1);
    EXPECT_EQ(SerialWriteWithInterrupt(&rec, data.data(), 10, nullptr, 0), 1);
    EXPECT_TRUE(transport.requests.empty());
    EXPECT_EQ(n, 0u);
}

TEST_F(SerialCalls, TheInterruptReadAnswersTenOTwoForEveryMissingArgument)
{
    uint32_t n = 5, extra = 5;
    EXPECT_EQ(SerialReadWithInterrupt(nullptr, buffer, 10, &n, &extra), 1002);
    QuorvaleInstanceRec withoutTransport = recordFor(nullptr);
    EXPECT_EQ(SerialReadWithInterrupt(&withoutTransport, buffer, 10, &n, &extra), 1002);
    EXPECT_EQ(SerialReadWithInterrupt(&rec, nullptr, 10, &n, &extra), 1002);
    EXPECT_EQ(SerialReadWithInterrupt(&rec, buffer, 0, &n, &extra), 1002);
    EXPECT_EQ(SerialReadWithInterrupt(&rec, buffer, 10, nullptr, &extra), 1002);
    EXPECT_EQ(SerialReadWithInterrupt(&rec, buffer, 10, &n, nullptr), 1002);
    EXPECT_TRUE(transport.requests.empty());
    EXPECT_EQ(n, 5u);
    EXPECT_EQ(extra, 5u);
}

TEST_F(SerialCalls, ThePlainReadAndWriteMayOmitTheirCountOutputs)
{
    transport.replyStruct = counting(4, 0x10);
    EXPECT_EQ(SerialRead(&rec, buffer, 8, nullptr), 0);
    EXPECT_EQ(SerialWrite(&rec, data.data(), 8, nullptr), 0);
    EXPECT_EQ(transport.requests.size(), 2u);
}

}  // namespace
}  // namespace maintenance_test
