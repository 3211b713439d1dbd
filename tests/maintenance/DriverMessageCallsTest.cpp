// Driver-level calls, the interface type, the switcher registers and the
// event references.
#include <gtest/gtest.h>

#include <cstring>

#include "EventReferences.h"
#include "RecordingTransport.h"
#include "TransportCallTable.h"

namespace maintenance_test {
namespace {

class DriverCalls : public ::testing::Test {
protected:
    RecordingTransport transport;
    QuorvaleInstanceRec rec = recordFor(&transport);
};

TEST_F(DriverCalls, MessagesOnTheLegacyDriverGiveTenTwelveWithoutTraffic)
{
    QuorvaleMessageRequestRec request{0x67737562, 0, {1, 2, 3, 4}};
    const QuorvaleMessageRequestRec before = request;
    EXPECT_EQ(SendMessageRequest(&rec, &request), 1012);
    EXPECT_EQ(std::memcmp(&request, &before, sizeof request), 0);

    QuorvaleBufferMessageRequestRec buffer;
    std::memset(&buffer, 0x3C, sizeof buffer);
    EXPECT_EQ(SendBufferMessageRequest(&rec, &buffer), 1012);
    EXPECT_EQ(buffer.bytes[1063], 0x3C);
    EXPECT_TRUE(transport.requests.empty());
}

TEST_F(DriverCalls, MessagesWithoutRecordOrTransportGiveTenOTwo)
{
    QuorvaleMessageRequestRec request{};
    QuorvaleBufferMessageRequestRec buffer{};
    QuorvaleInstanceRec withoutTransport = recordFor(nullptr);
    EXPECT_EQ(SendMessageRequest(nullptr, &request), 1002);
    EXPECT_EQ(SendMessageRequest(&withoutTransport, &request), 1002);
    EXPECT_EQ(SendBufferMessageRequest(nullptr, &buffer), 1002);
    EXPECT_EQ(SendBufferMessageRequest(&withoutTransport, &buffer), 1002);
}

TEST_F(DriverCalls, SetDriverAttributePacksAAsLowAndBAsHighWordOfOneScalar)
{
    ASSERT_EQ(SetDriverAttribute(&rec, 0xFFFFFFFF, 0xAAAAAAAA, 0x00000001), 0);
    EXPECT_EQ(transport.requests.at(0).request, 0xA04);
    EXPECT_EQ(transport.requests.at(0).scalarsIn,
              std::vector<uint64_t>({0xFFFFFFFFULL, 0x00000001AAAAAAAAULL}));
}

TEST_F(DriverCalls, ProgramEEPROMExchangesTheSecondAndThirdValues)
{
    ASSERT_EQ(ProgramQuorvaleDeviceIdentificationEEPROM(&rec, 0xA, 0xB, 0xC, 0xD), 0);
    const std::vector<uint8_t>& sent = transport.requests.at(0).structIn;
    ASSERT_EQ(sent.size(), 32u);
    uint64_t values[4];
    std::memcpy(values, sent.data(), sizeof values);
    EXPECT_EQ(values[0], 0xAu);
    EXPECT_EQ(values[1], 0xCu);
    EXPECT_EQ(values[2], 0xBu);
    EXPECT_EQ(values[3], 0xDu);
}

TEST_F(DriverCalls, SetAudioMeterModeWritesTheIdleOperationReadRequest)
{
    ASSERT_EQ(SetAudioMeterMode(&rec, 9), 0);
    uint32_t operation = 0;
    transport.replyScalars = {4};
    ASSERT_EQ(GetQuorvaleIdleVideoOutputOperation(&rec, &operation), 0);
    ASSERT_EQ(transport.requests.size(), 2u);
    EXPECT_EQ(transport.requests[0].request, 0x9D1);
    EXPECT_EQ(transport.requests[0].scalarsIn, std::vector<uint64_t>({9}));
    EXPECT_EQ(transport.requests[0].scalarOutCount, 0u) << "a write, not a read";
    EXPECT_EQ(transport.requests[1].request, 0x9D1);
}

TEST_F(DriverCalls, GetAPINotificationNeedsItsSize)
{
    uint8_t buffer[8];
    EXPECT_EQ(GetAPINotification(&rec, buffer, nullptr), 1);
    EXPECT_TRUE(transport.requests.empty());
}

TEST_F(DriverCalls, InterfaceTypeIsTheRecordFieldWithoutTraffic)
{
    EXPECT_EQ(GetDriverInterfaceType(&rec), 0);
    rec.interfaceType = 4;
    EXPECT_EQ(GetDriverInterfaceType(&rec), 4);
    QuorvaleInstanceRec withoutTransport = recordFor(nullptr);
    withoutTransport.interfaceType = 4;
    EXPECT_EQ(GetDriverInterfaceType(&withoutTransport), 4);
    EXPECT_EQ(GetDriverInterfaceType(nullptr), 1);
    EXPECT_TRUE(transport.requests.empty());
}

TEST_F(DriverCalls, SwitcherRegistersGiveOneWithoutTraffic)
{
    uint32_t value = 0xA5A5A5A5;
    EXPECT_EQ(ReadZelqSwitchersRegister(&rec, 1, &value), 1);
    EXPECT_EQ(WriteZelqSwitchersRegister(&rec, 1, 2), 1);
    EXPECT_EQ(ReadZelqSwitchersRegister(nullptr, 1, nullptr), 1);
    EXPECT_EQ(value, 0xA5A5A5A5u);
    EXPECT_TRUE(transport.requests.empty());
}

TEST(EventReference, IsAZeroedFourByteCell)
{
    QuorvaleEventRef ref = nullptr;
    ASSERT_EQ(InitialiseQuorvaleEventRef(&ref), 0);
    ASSERT_NE(ref, nullptr);
    uint32_t cell = 0xFFFFFFFF;
    std::memcpy(&cell, ref, sizeof cell);
    EXPECT_EQ(cell, 0u);
    DisposeQuorvaleEventRef(ref);  // the sanitizer build proves the release
}

TEST(EventReference, EachInitialisationAllocatesAFreshCell)
{
    QuorvaleEventRef a = nullptr, b = nullptr;
    ASSERT_EQ(InitialiseQuorvaleEventRef(&a), 0);
    ASSERT_EQ(InitialiseQuorvaleEventRef(&b), 0);
    EXPECT_NE(a, b);
    DisposeQuorvaleEventRef(a);
    DisposeQuorvaleEventRef(b);
}

TEST(EventReference, AllocationFailureGivesTenOOneAndLeavesTheRef)
{
    auto* const original = quorvale::gEventRefAllocate;
    static std::size_t requested = 0;
    quorvale::gEventRefAllocate = [](std::size_t size) -> void* {
        requested = size;
        return nullptr;
    };
    QuorvaleEventRef ref = reinterpret_cast<QuorvaleEventRef>(0x1234);
    const int status = InitialiseQuorvaleEventRef(&ref);
    quorvale::gEventRefAllocate = original;
    EXPECT_EQ(status, 1001);
    EXPECT_EQ(requested, 4u);
    EXPECT_EQ(ref, reinterpret_cast<QuorvaleEventRef>(0x1234));
}

TEST(EventReference, NullArgumentsAreRefusedOrIgnored)
{
    EXPECT_EQ(InitialiseQuorvaleEventRef(nullptr), 1);
    DisposeQuorvaleEventRef(nullptr);  // no effect, no crash
}

}  // namespace
}  // namespace maintenance_test
