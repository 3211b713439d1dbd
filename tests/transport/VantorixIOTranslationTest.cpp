// The translating transport: the table, the renumbered requests and the
// 40-byte message record, against the scripted driver.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "FakeDriver.h"
#include "QuorvaleTypes.h"
#include "TranslationOracle.h"
#include "VantorixIOIoctlMessageUser.h"

namespace {

constexpr int kFd = 43;
constexpr uint32_t kGsub = 0x67737562;

IoctlBlockHeader headerOf(const fakedriver::Request& r)
{
    return r.header;
}

bool sameHeader(const IoctlBlockHeader& h, uint32_t a, uint32_t b, uint32_t c, uint32_t d)
{
    return h.scalarInputCount == a && h.structInputSize == b && h.scalarOutputCount == c
           && h.structOutputSize == d;
}

// The record as the driver received it (the input structure of 0x90001).
_VantorixIOMessageRequest sentRecord(const fakedriver::Request& r)
{
    _VantorixIOMessageRequest record;
    std::memcpy(&record, r.inputStruct(), sizeof record);
    return record;
}

// The driver's answer: the record with its scalars replaced.
void answerMessage(uint32_t code, std::initializer_list<uint64_t> scalars)
{
    _VantorixIOMessageRequest answer{};
    answer.messageCode = code;
    unsigned i = 0;
    for (uint64_t v : scalars)
        answer.scalars[i++] = v;
    std::memcpy(fakedriver::reply().structure, &answer, sizeof answer);
}

class VantorixIOTransport : public ::testing::Test {
protected:
    void SetUp() override { fakedriver::reset(); }
    VantorixIOIoctlMessageUser transport{kFd};
};

// ---- the table -------------------------------------------------------------

TEST(VantorixIOTable, HoldsOneHundredFortyEightRequestsOfWhichOneHundredFourteenAreMessages)
{
    VantorixIOIoctlMessageUser t(kFd);
    EXPECT_EQ(t.ioctlTranslations().size(), 148u);
    EXPECT_EQ(t.messageTranslations().size(), 114u);
    unsigned renumbered = 0;
    for (const auto& [legacy, request] : t.ioctlTranslations())
        renumbered += request != VantorixIOIoctlMessageUser::kMessageRequest;
    EXPECT_EQ(renumbered, 34u);
    std::size_t rows = 0;
    VantorixIOIoctlMessageUser::translationTable(&rows);
    EXPECT_EQ(rows, 148u);
}

TEST(VantorixIOTable, RequestHasAMessageCodeExactlyWhenItTranslatesToTheMessageRequest)
{
    VantorixIOIoctlMessageUser t(kFd);
    for (const auto& [legacy, request] : t.ioctlTranslations()) {
        const bool hasCode = t.messageTranslations().count(legacy) != 0;
        EXPECT_EQ(hasCode, request == 0x90001) << std::hex << legacy;
    }
    for (const auto& [legacy, code] : t.messageTranslations()) {
        EXPECT_EQ(t.translateIoctl(legacy), 0x90001) << std::hex << legacy;
        EXPECT_NE(code, 0x74726564u) << std::hex << legacy;
    }
}

TEST(VantorixIOTable, EveryDocumentedEntryTranslatesAsListed)
{
    VantorixIOIoctlMessageUser t(kFd);
    const auto entries = oracle::all();
    ASSERT_EQ(oracle::renumbered().size(), 34u);
    ASSERT_EQ(oracle::messages().size(), 114u);
    std::set<int32_t> keys;
    for (const auto& e : entries) {
        keys.insert(e.legacy);
        EXPECT_EQ(t.translateIoctl(e.legacy), e.request) << std::hex << e.legacy;
        EXPECT_EQ(t.translateIoctlToMessage(e.legacy), e.code ? e.code : 0x74726564u)
            << std::hex << e.legacy << " " << e.text;
    }
    EXPECT_EQ(keys.size(), 148u);
    for (const auto& [legacy, request] : t.ioctlTranslations())
        EXPECT_EQ(keys.count(legacy), 1u) << "not documented: " << std::hex << legacy;
}

TEST(VantorixIOTable, RowsAreUniqueAndInLegacyOrder)
{
    std::size_t rows = 0;
    const auto* table = VantorixIOIoctlMessageUser::translationTable(&rows);
    for (std::size_t i = 1; i < rows; ++i)
        EXPECT_LT(table[i - 1].legacy, table[i].legacy) << i;
    for (std::size_t i = 0; i < rows; ++i)
        EXPECT_EQ(table[i].messageCode != 0, table[i].request == 0x90001) << std::hex << table[i].legacy;
}

// Every number around and between the table's keys, and the extremes: the
// searches find exactly the documented ones.
TEST(VantorixIOTable, NumbersOutsideTheTableHaveNoTranslation)
{
    VantorixIOIoctlMessageUser t(kFd);
    std::set<int32_t> keys;
    for (const auto& e : oracle::all())
        keys.insert(e.legacy);
    std::vector<int32_t> probes{INT32_MIN, -1, 0, 1, 0x8FFFF, 0x90000, INT32_MAX};
    for (int32_t n = 0x800; n <= 0x10010; ++n)
        probes.push_back(n);
    for (int32_t n : probes) {
        if (keys.count(n) != 0)
            continue;
        EXPECT_EQ(t.translateIoctl(n), -1) << std::hex << n;
        EXPECT_EQ(t.translateIoctlToMessage(n), 0x74726564u) << std::hex << n;
        EXPECT_EQ(t.ioctlTranslations().count(n), 0u) << std::hex << n;
    }
}

TEST(VantorixIOTable, IteratesInAscendingLegacyOrder)
{
    VantorixIOIoctlMessageUser t(kFd);
    int64_t previous = INT64_MIN;
    for (const auto& [legacy, request] : t.ioctlTranslations()) {
        EXPECT_LT(previous, legacy);
        previous = legacy;
        EXPECT_EQ(t.translateIoctl(legacy), request);
    }
    previous = INT64_MIN;
    for (const auto& [legacy, code] : t.messageTranslations()) {
        EXPECT_LT(previous, legacy);
        previous = legacy;
        EXPECT_EQ(t.translateIoctlToMessage(legacy), code);
    }
}

TEST(VantorixIOTable, CrossedAndOutOfOrderRenumberingsAreKept)
{
    VantorixIOIoctlMessageUser t(kFd);
    EXPECT_EQ(t.translateIoctl(0x905), 0x9000B);
    EXPECT_EQ(t.translateIoctl(0x90A), 0x90007);
    EXPECT_EQ(t.translateIoctl(0x9DB), 0x90022);
    EXPECT_EQ(t.translateIoctl(0x9DC), 0x90021);
    EXPECT_EQ(t.translateIoctl(0x990), 0x90000);
    EXPECT_EQ(t.translateIoctl(0xB02), 0x90026);
    EXPECT_EQ(t.translateIoctl(0x10000), 0x90001);
    EXPECT_EQ(t.translateIoctlToMessage(0x10000), messageCode("sdsv"));
    EXPECT_EQ(t.translateIoctlToMessage(0x10000), 0x73647376u);
}

TEST(VantorixIOTable, MessageCodesPutTheFirstCharacterInTheTopByte)
{
    static_assert(messageCode("gsub") == 0x67737562, "gsub");
    static_assert(messageCode("dnfo") == 0x646E666F, "dnfo");
    static_assert(messageCode("tred") == 0x74726564, "tred");
    VantorixIOIoctlMessageUser t(kFd);
    EXPECT_EQ(t.translateIoctlToMessage(0x99A), 0x67737562u);
    EXPECT_EQ(t.translateIoctlToMessage(0x940), 0x646E666Fu);
    EXPECT_EQ(t.translateIoctlToMessage(0x949), messageCode("s444"));
}

TEST(VantorixIOTable, AbsentRequestsHaveNoTranslation)
{
    VantorixIOIoctlMessageUser t(kFd);
    EXPECT_EQ(t.translateIoctl(0x915), -1);
    EXPECT_EQ(t.translateIoctl(0x908), -1);
    EXPECT_EQ(t.translateIoctl(0), -1);
    EXPECT_EQ(t.translateIoctlToMessage(0x915), 0x74726564u);
    // Renumbered requests have no message code either.
    EXPECT_EQ(t.translateIoctlToMessage(0x901), 0x74726564u);
    EXPECT_EQ(t.translateIoctlToMessage(0x990), 0x74726564u);
}

// ---- call ------------------------------------------------------------------

TEST_F(VantorixIOTransport, NewStyleRequestNumbersGoToTheDriverUnchanged)
{
    const unsigned long long in = 5;
    unsigned long long out = 0;
    fakedriver::reply().scalars[0] = 0x66;
    IoctlArguments args{};
    args.scalarInputCount = 1;
    args.scalarOutputCount = 1;
    args.scalarInput = reinterpret_cast<const uint64_t*>(&in);
    args.scalarOutput = reinterpret_cast<uint64_t*>(&out);
    ASSERT_EQ(transport.call(0x90000, &args), 0);
    ASSERT_EQ(fakedriver::requestCount(), 1u);
    EXPECT_EQ(fakedriver::lastRequest().number, 0x90000u);
    EXPECT_TRUE(sameHeader(headerOf(fakedriver::lastRequest()), 1, 0, 1, 0));
    EXPECT_EQ(fakedriver::lastRequest().inputScalar(0), 5u);
    EXPECT_EQ(out, 0x66u);

    ASSERT_EQ(transport.call(0x9000C), 0);
    EXPECT_EQ(fakedriver::lastRequest().number, 0x9000Cu);
    ASSERT_EQ(transport.call(0x7FFFFFFF), 0);
    EXPECT_EQ(fakedriver::lastRequest().number, 0x7FFFFFFFu);
}

TEST_F(VantorixIOTransport, LastLegacyStyleNumberIsLookedUp)
{
    EXPECT_EQ(transport.call(0x8FFFF), kQuorvaleNotTranslatable);
    EXPECT_EQ(transport.call(-1), 1002);
    EXPECT_EQ(fakedriver::requestCount(), 0u);
}

TEST_F(VantorixIOTransport, HardwareDescriptionRequestBecomesHexNinetyThousandWithTheSameBlock)
{
    IoctlMessageUser legacy(kFd);
    uint8_t legacyOut[104] = {};
    uint8_t newOut[104] = {};
    unsigned legacySize = 104, newSize = 104;
    for (unsigned i = 0; i < 104; ++i)
        fakedriver::reply().structure[i] = static_cast<uint8_t>(i * 3);

    ASSERT_EQ(legacy.readStruct(0x990, legacyOut, &legacySize), 0);
    ASSERT_EQ(transport.readStruct(0x990, newOut, &newSize), 0);
    ASSERT_EQ(fakedriver::requestCount(), 2u);
    const auto& sentLegacy = fakedriver::request(0);
    const auto& sentNew = fakedriver::request(1);
    EXPECT_EQ(sentLegacy.number, 0x990u);
    EXPECT_EQ(sentNew.number, 0x90000u);
    EXPECT_EQ(sentNew.inputLength, sentLegacy.inputLength);
    EXPECT_EQ(std::memcmp(sentNew.input, sentLegacy.input, sentNew.inputLength), 0);
    EXPECT_TRUE(sameHeader(sentNew.header, 0, 0, 0, 104));
    EXPECT_EQ(newSize, 104u);
    EXPECT_EQ(std::memcmp(newOut, legacyOut, 104), 0);
    EXPECT_EQ(newOut[5], 15);
}

TEST_F(VantorixIOTransport, RenumberedRequestsCarryStructuresAsTheyAre)
{
    uint8_t frame[184];
    for (unsigned i = 0; i < sizeof frame; ++i)
        frame[i] = static_cast<uint8_t>(i);
    ASSERT_EQ(transport.writeStruct(0x905, frame, sizeof frame), 0);
    const auto& r = fakedriver::lastRequest();
    EXPECT_EQ(r.number, 0x9000Bu);
    EXPECT_TRUE(sameHeader(r.header, 0, 184, 0, 0));
    EXPECT_EQ(std::memcmp(r.inputStruct(), frame, sizeof frame), 0);
}

TEST_F(VantorixIOTransport, SubDeviceRequestWithOneOutputSendsTheGsubRecordAndReturnsItsFirstScalar)
{
    answerMessage(kGsub, {0x1234, 0x99, 0x98, 0x97});
    unsigned long long value = 0;
    ASSERT_EQ(transport.readScalar(0x99A, &value, 1), 0);
    ASSERT_EQ(fakedriver::requestCount(), 1u);
    const auto& r = fakedriver::lastRequest();
    EXPECT_EQ(r.number, 0x90001u);
    EXPECT_TRUE(sameHeader(r.header, 0, 40, 0, 40));
    EXPECT_EQ(r.inputLength, 16u + 40u);
    const auto record = sentRecord(r);
    EXPECT_EQ(record.messageCode, kGsub);
    EXPECT_EQ(record.reserved, 0u);
    // On the wire the code is little-endian: "bus g".
    EXPECT_EQ(r.inputStruct()[0], 'b');
    EXPECT_EQ(r.inputStruct()[3], 'g');
    EXPECT_EQ(value, 0x1234u);
}

TEST_F(VantorixIOTransport, MessageOutputsComeFromTheFrontOfTheReturnedArray)
{
    answerMessage(kGsub, {1, 2, 3, 4});
    unsigned long long values[4] = {9, 9, 9, 9};
    ASSERT_EQ(transport.readScalar(0x99A, values, 3), 0);
    EXPECT_EQ(values[0], 1u);
    EXPECT_EQ(values[1], 2u);
    EXPECT_EQ(values[2], 3u);
    EXPECT_EQ(values[3], 9u);
}

TEST_F(VantorixIOTransport, MessageInputsGoToTheFrontOfTheRecord)
{
    const unsigned long long in[4] = {0xA1, 0xA2, 0xA3, 0xFFFFFFFFFFFFFFFFULL};
    ASSERT_EQ(transport.writeScalar(0x980, in, 4), 0);
    auto record = sentRecord(fakedriver::lastRequest());
    EXPECT_EQ(record.messageCode, messageCode("sgen"));
    EXPECT_EQ(record.reserved, 0u);
    EXPECT_EQ(record.scalars[0], 0xA1u);
    EXPECT_EQ(record.scalars[1], 0xA2u);
    EXPECT_EQ(record.scalars[2], 0xA3u);
    EXPECT_EQ(record.scalars[3], 0xFFFFFFFFFFFFFFFFULL);

    ASSERT_EQ(transport.writeScalar(0xA03, 0x11223344u), 0);
    record = sentRecord(fakedriver::lastRequest());
    EXPECT_EQ(record.messageCode, messageCode("sdvo"));
    EXPECT_EQ(record.scalars[0], 0x11223344u);
}

TEST_F(VantorixIOTransport, MessageExchangeCarriesInputAndOutput)
{
    answerMessage(messageCode("rreg"), {0x100});
    unsigned char flag = 0;
    ASSERT_EQ(transport.writeScalarReadScalar(0x9A0, 0x40u, &flag), 0);
    EXPECT_EQ(sentRecord(fakedriver::lastRequest()).scalars[0], 0x40u);
    EXPECT_EQ(flag, 1);  // still a truth value on this path
}

TEST_F(VantorixIOTransport, MessagePathLeavesTheCountsInTheArguments)
{
    answerMessage(kGsub, {7, 8, 9});
    unsigned long long out[3] = {};
    IoctlArguments args{};
    args.scalarOutputCount = 3;
    args.scalarOutput = reinterpret_cast<uint64_t*>(out);
    ASSERT_EQ(transport.call(0x99A, &args), 0);
    EXPECT_EQ(args.scalarOutputCount, 3u);
    EXPECT_EQ(args.structOutputSize, 0u);
    EXPECT_EQ(args.scalarInputCount, 0u);
    EXPECT_EQ(out[2], 9u);
    // The driver's own header said 0 scalars and 40 bytes; none of that comes back.
    EXPECT_TRUE(sameHeader(fakedriver::lastRequest().header, 0, 40, 0, 40));
}

TEST_F(VantorixIOTransport, MessageRoutedRequestWithAStructureIsRefusedWithoutCallingTheDriver)
{
    uint8_t buffer[64] = {};
    for (const auto& e : oracle::messages()) {
        unsigned size = sizeof buffer;
        EXPECT_EQ(transport.readStruct(e.legacy, buffer, &size), 1002) << e.text;
        EXPECT_EQ(size, sizeof buffer) << e.text;
        EXPECT_EQ(transport.writeStruct(e.legacy, buffer, 8), 1002) << e.text;
        EXPECT_EQ(transport.writeStructReadStruct(e.legacy, buffer, 8, buffer, &size), 1002) << e.text;
        EXPECT_EQ(transport.writeScalarWriteStruct(e.legacy, nullptr, 0, buffer, 1), 1002) << e.text;
    }
    EXPECT_EQ(fakedriver::requestCount(), 0u);
}

TEST_F(VantorixIOTransport, UnlistedLegacyNumberIsRefused)
{
    unsigned int value = 0x5A;
    EXPECT_EQ(transport.readScalar(0x915, &value), kQuorvaleNotTranslatable);
    EXPECT_EQ(value, 0x5Au);
    EXPECT_EQ(transport.call(0x915), 1002);
    EXPECT_EQ(fakedriver::requestCount(), 0u);
}

TEST_F(VantorixIOTransport, FiveInputScalarsOnAMessageRequestAreRefused)
{
    const unsigned long long in[5] = {1, 2, 3, 4, 5};
    EXPECT_EQ(transport.writeScalar(0x980, in, 5), 1002);
    EXPECT_EQ(fakedriver::requestCount(), 0u);
}

TEST_F(VantorixIOTransport, FiveOutputScalarsOnAMessageRequestAreRefused)
{
    unsigned long long out[5] = {};
    EXPECT_EQ(transport.readScalar(0x99A, out, 5), 1002);
    EXPECT_EQ(fakedriver::requestCount(), 0u);
    ASSERT_EQ(transport.readScalar(0x99A, out, 4), 0);
    EXPECT_EQ(fakedriver::requestCount(), 1u);
}

TEST_F(VantorixIOTransport, FourScalarsEachWayFitTheRecord)
{
    answerMessage(0, {5, 6, 7, 8});
    const unsigned long long in[4] = {1, 2, 3, 4};
    unsigned long long out[4] = {};
    ASSERT_EQ(transport.writeScalarReadScalar(0x9B3, in, 4, out, 4), 0);
    EXPECT_EQ(sentRecord(fakedriver::lastRequest()).scalars[3], 4u);
    EXPECT_EQ(out[3], 8u);
}

TEST_F(VantorixIOTransport, FailedMessageLeavesTheOutputsUntouched)
{
    answerMessage(kGsub, {1, 2, 3});
    fakedriver::reply().status = -1;
    unsigned long long values[3] = {0x5A, 0x5A, 0x5A};
    EXPECT_EQ(transport.readScalar(0x99A, values, 3), -1);
    EXPECT_EQ(values[0], 0x5Au);
    EXPECT_EQ(values[2], 0x5Au);
}

TEST_F(VantorixIOTransport, SendMessageExchangesTheRecordInPlace)
{
    answerMessage(0x11111111, {0xAB, 0xCD});
    _VantorixIOMessageRequest record{};
    record.messageCode = messageCode("gfwv");
    record.reserved = 0x77;
    ASSERT_EQ(transport.sendMessage(&record), 0);
    const auto& r = fakedriver::lastRequest();
    EXPECT_EQ(r.number, 0x90001u);
    EXPECT_TRUE(sameHeader(r.header, 0, 40, 0, 40));
    EXPECT_EQ(sentRecord(r).messageCode, messageCode("gfwv"));
    EXPECT_EQ(record.messageCode, 0x11111111u);
    EXPECT_EQ(record.scalars[0], 0xABu);
    EXPECT_EQ(record.scalars[1], 0xCDu);
}

TEST_F(VantorixIOTransport, SendBufferMessageExchangesTheThousandSixtyFourBytesInPlace)
{
    _VantorixIOBufferMessageRequest buffer;
    for (unsigned i = 0; i < sizeof buffer.bytes; ++i)
        buffer.bytes[i] = static_cast<uint8_t>(i);
    for (unsigned i = 0; i < 1064; ++i)
        fakedriver::reply().structure[i] = static_cast<uint8_t>(255 - i % 256);
    ASSERT_EQ(transport.sendBufferMessage(&buffer), 0);
    const auto& r = fakedriver::lastRequest();
    EXPECT_EQ(r.number, 0x90001u);
    EXPECT_TRUE(sameHeader(r.header, 0, 1064, 0, 1064));
    EXPECT_EQ(r.inputStruct()[1063], static_cast<uint8_t>(1063));
    EXPECT_EQ(buffer.bytes[0], 255);
    EXPECT_EQ(buffer.bytes[1063], static_cast<uint8_t>(255 - 1063 % 256));
}

TEST_F(VantorixIOTransport, InterfaceTypeIsFour)
{
    EXPECT_EQ(transport.interfaceType(), 4);
    const IoctlMessageUser& base = transport;
    EXPECT_EQ(base.interfaceType(), 4);
}

// sendMessage is reached through the table: a derived transport that answers
// messages itself sees every message-routed request.
class MessageSpy : public VantorixIOIoctlMessageUser {
public:
    MessageSpy() : VantorixIOIoctlMessageUser(kFd) {}
    int sendMessage(_VantorixIOMessageRequest* request) override
    {
        ++messages;
        code = request->messageCode;
        reserved = request->reserved;
        first = request->scalars[0];
        request->scalars[0] = 0xFACE;
        return status;
    }
    int messages = 0;
    uint32_t code = 0;
    uint32_t reserved = 0xFFFFFFFF;
    uint64_t first = 0;
    int status = 0;
};

TEST_F(VantorixIOTransport, MessagesGoThroughTheOverridableSendMessage)
{
    MessageSpy spy;
    unsigned int value = 0;
    ASSERT_EQ(spy.writeScalarReadScalar(0x9A0, 0x33u, &value), 0);
    EXPECT_EQ(spy.messages, 1);
    EXPECT_EQ(spy.code, messageCode("rreg"));
    EXPECT_EQ(spy.reserved, 0u);
    EXPECT_EQ(spy.first, 0x33u);
    EXPECT_EQ(value, 0xFACEu);
    EXPECT_EQ(fakedriver::requestCount(), 0u);

    spy.status = 77;
    value = 1;
    EXPECT_EQ(spy.readScalar(0x996, &value), 77);
    EXPECT_EQ(value, 1u);
}

}  // namespace
