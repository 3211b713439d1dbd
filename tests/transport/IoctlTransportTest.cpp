// The legacy transport against the scripted driver: the exact block that
// reaches ioctl, what comes back, and which argument words each operation fills.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "FakeDriver.h"
#include "IoctlMessageUser.h"
#include "QuorvaleTypes.h"
#include "VantorixIOIoctlMessageUser.h"

// Found by argument lookup: the header type lives in the global namespace.
bool operator==(const IoctlBlockHeader& x, const IoctlBlockHeader& y)
{
    return std::memcmp(&x, &y, sizeof x) == 0;
}

std::ostream& operator<<(std::ostream& os, const IoctlBlockHeader& h)
{
    return os << "{" << h.scalarInputCount << ", " << h.structInputSize << ", "
              << h.scalarOutputCount << ", " << h.structOutputSize << "}";
}

namespace {

constexpr int kFd = 42;
constexpr int kReq = 0x9A0;

IoctlBlockHeader header(uint32_t a, uint32_t b, uint32_t c, uint32_t d)
{
    return {a, b, c, d};
}

class IoctlTransport : public ::testing::Test {
protected:
    void SetUp() override { fakedriver::reset(); }
    IoctlMessageUser transport{kFd};
};

// ---- call(req) and call(req, args) ----------------------------------------

TEST_F(IoctlTransport, CallWithoutArgumentsSendsSixteenByteBlockOfFourZeroWords)
{
    EXPECT_EQ(transport.call(0x993), 0);
    ASSERT_EQ(fakedriver::requestCount(), 1u);
    const auto& r = fakedriver::lastRequest();
    EXPECT_EQ(r.fd, kFd);
    EXPECT_EQ(r.number, 0x993u);
    EXPECT_EQ(r.header, header(0, 0, 0, 0));
    EXPECT_EQ(r.inputLength, 16u);
    const uint8_t zeros[16] = {};
    EXPECT_EQ(std::memcmp(r.input, zeros, 16), 0);
}

TEST_F(IoctlTransport, NoInputsAndNoOutputsStillSendsTheHeader)
{
    IoctlArguments args{};
    EXPECT_EQ(transport.call(kReq, &args), 0);
    ASSERT_EQ(fakedriver::requestCount(), 1u);
    EXPECT_EQ(fakedriver::lastRequest().header, header(0, 0, 0, 0));
    EXPECT_EQ(IoctlMessageUser::blockLength(args), 16u);
}

TEST_F(IoctlTransport, BlockStartsOnSixteenBytesForEveryShape)
{
    for (unsigned in = 0; in < 5; ++in) {
        for (unsigned structSize : {0u, 1u, 3u, 40u, 104u}) {
            unsigned long long scalars[4] = {1, 2, 3, 4};
            std::vector<uint8_t> s(structSize + 1, 0x5A);
            IoctlArguments args{};
            args.scalarInputCount = in;
            args.structInputSize = structSize;
            args.scalarInput = reinterpret_cast<const uint64_t*>(scalars);
            args.structInput = s.data();
            fakedriver::reset();
            ASSERT_EQ(transport.call(kReq, &args), 0);
            EXPECT_EQ(fakedriver::lastRequest().blockAddress % 16, 0u)
                << in << " scalars, " << structSize << " bytes";
        }
    }
}

TEST_F(IoctlTransport, BlockLengthIsHeaderPlusBothInputsPlusRoomForBothOutputs)
{
    IoctlArguments args{};
    args.scalarInputCount = 3;
    args.structInputSize = 5;
    args.scalarOutputCount = 2;
    args.structOutputSize = 7;
    EXPECT_EQ(IoctlMessageUser::blockLength(args), 16u + 24u + 5u + 16u + 7u);
    IoctlArguments buffer{};
    buffer.structInputSize = 1064;
    buffer.structOutputSize = 1064;
    EXPECT_EQ(IoctlMessageUser::blockLength(buffer), 2144u);
}

TEST_F(IoctlTransport, InputsAreLaidOutScalarsFirstThenStructure)
{
    const unsigned long long scalars[2] = {0x1122334455667788ULL, 0x99};
    const char structure[5] = {'a', 'b', 'c', 'd', 'e'};
    unsigned long long outScalars[3] = {};
    uint8_t outStruct[6] = {};
    IoctlArguments args{};
    args.scalarInputCount = 2;
    args.structInputSize = 5;
    args.scalarOutputCount = 3;
    args.structOutputSize = 6;
    args.scalarInput = reinterpret_cast<const uint64_t*>(scalars);
    args.structInput = structure;
    args.scalarOutput = reinterpret_cast<uint64_t*>(outScalars);
    args.structOutput = outStruct;
    auto& reply = fakedriver::reply();
    reply.scalars[0] = 7;
    reply.scalars[1] = 8;
    reply.scalars[2] = 0xFFFFFFFFFFFFFFFFULL;
    std::memcpy(reply.structure, "XYZUVW", 6);

    ASSERT_EQ(transport.call(kReq, &args), 0);
    const auto& r = fakedriver::lastRequest();
    EXPECT_EQ(r.header, header(2, 5, 3, 6));
    EXPECT_EQ(r.inputLength, 16u + 16u + 5u);
    EXPECT_EQ(r.inputScalar(0), 0x1122334455667788ULL);
    EXPECT_EQ(r.inputScalar(1), 0x99u);
    EXPECT_EQ(std::memcmp(r.inputStruct(), "abcde", 5), 0);
    // Little-endian on the wire: the first header word is the scalar count.
    EXPECT_EQ(r.input[0], 2);
    EXPECT_EQ(r.input[4], 5);
    EXPECT_EQ(r.input[8], 3);
    EXPECT_EQ(r.input[12], 6);
    EXPECT_EQ(r.input[16], 0x88);

    EXPECT_EQ(outScalars[0], 7u);
    EXPECT_EQ(outScalars[1], 8u);
    EXPECT_EQ(outScalars[2], 0xFFFFFFFFFFFFFFFFULL);
    EXPECT_EQ(std::memcmp(outStruct, "XYZUVW", 6), 0);
    EXPECT_EQ(args.scalarOutputCount, 3u);
    EXPECT_EQ(args.structOutputSize, 6u);
}

TEST_F(IoctlTransport, ReturnedCountsAreCopiedBackIntoTheArguments)
{
    unsigned long long outScalars[4] = {0xAA, 0xAA, 0xAA, 0xAA};
    uint8_t outStruct[8];
    std::memset(outStruct, 0xCC, sizeof outStruct);
    IoctlArguments args{};
    args.scalarOutputCount = 4;
    args.structOutputSize = 8;
    args.scalarOutput = reinterpret_cast<uint64_t*>(outScalars);
    args.structOutput = outStruct;
    auto& reply = fakedriver::reply();
    reply.scalarOutputCount = 1;
    reply.structOutputSize = 3;
    reply.scalars[0] = 0x55;
    std::memcpy(reply.structure, "pqr", 3);

    ASSERT_EQ(transport.call(kReq, &args), 0);
    EXPECT_EQ(args.scalarOutputCount, 1u);
    EXPECT_EQ(args.structOutputSize, 3u);
    EXPECT_EQ(outScalars[0], 0x55u);
    EXPECT_EQ(outScalars[1], 0xAAu);  // beyond the returned count: untouched
    // The structure follows the returned scalar count, not the offered one.
    EXPECT_EQ(std::memcmp(outStruct, "pqr", 3), 0);
    EXPECT_EQ(outStruct[3], 0xCC);
}

// Deliberate: the returned header is trusted as is, not clamped to the
// capacities the caller offered.
TEST_F(IoctlTransport, ReturnedSizesAreTrustedBeyondTheOfferedCapacity)
{
    unsigned long long outScalars[2] = {0, 0};
    uint8_t outStruct[24] = {};
    IoctlArguments args{};
    args.structOutputSize = 24;  // room for 24 bytes, no scalar capacity at all
    args.scalarOutput = reinterpret_cast<uint64_t*>(outScalars);
    args.structOutput = outStruct;
    auto& reply = fakedriver::reply();
    reply.scalarOutputCount = 2;
    reply.structOutputSize = 8;
    reply.scalars[0] = 0x1234;
    reply.scalars[1] = 0x5678;
    std::memcpy(reply.structure, "ABCDEFGH", 8);

    ASSERT_EQ(transport.call(kReq, &args), 0);
    EXPECT_EQ(args.scalarOutputCount, 2u);
    EXPECT_EQ(outScalars[0], 0x1234u);
    EXPECT_EQ(outScalars[1], 0x5678u);
    EXPECT_EQ(args.structOutputSize, 8u);
    EXPECT_EQ(std::memcmp(outStruct, "ABCDEFGH", 8), 0);
}

TEST_F(IoctlTransport, OutputOffsetsFollowTheHeaderTheDriverReturned)
{
    const unsigned long long in = 0xDEAD;
    unsigned long long out = 0;
    IoctlArguments args{};
    args.scalarInputCount = 1;
    args.scalarOutputCount = 1;
    args.scalarInput = reinterpret_cast<const uint64_t*>(&in);
    args.scalarOutput = reinterpret_cast<uint64_t*>(&out);
    // The driver claims no input scalars: the output is read from offset 16,
    // where the input scalar still is.
    fakedriver::reply().scalarInputCount = 0;
    fakedriver::reply().scalars[0] = 0x77;

    ASSERT_EQ(transport.call(kReq, &args), 0);
    EXPECT_EQ(out, 0x77u);  // the fake driver wrote its answer at offset 16 too
    EXPECT_EQ(args.scalarInputCount, 1u);  // input words are never written back
}

TEST_F(IoctlTransport, FailedIoctlReturnsItsValueAndLeavesTheArgumentsUntouched)
{
    unsigned long long outScalars[2] = {0xAB, 0xAB};
    uint8_t outStruct[4] = {1, 2, 3, 4};
    IoctlArguments args{};
    args.scalarOutputCount = 2;
    args.structOutputSize = 4;
    args.scalarOutput = reinterpret_cast<uint64_t*>(outScalars);
    args.structOutput = outStruct;
    fakedriver::reply().status = -1;
    fakedriver::reply().scalarOutputCount = 0;
    fakedriver::reply().structOutputSize = 0;

    EXPECT_EQ(transport.call(kReq, &args), -1);
    EXPECT_EQ(args.scalarOutputCount, 2u);
    EXPECT_EQ(args.structOutputSize, 4u);
    EXPECT_EQ(outScalars[0], 0xABu);
    EXPECT_EQ(outScalars[1], 0xABu);
    EXPECT_EQ(outStruct[0], 1);
    EXPECT_EQ(outStruct[3], 4);

    fakedriver::reply().status = 25;  // any non-zero value passes through
    EXPECT_EQ(transport.call(kReq, &args), 25);
}

// ---- typed operations --------------------------------------------------------

TEST_F(IoctlTransport, SmallerReturnedStructureSizeIsReportedAndOnlyThatMuchCopied)
{
    uint8_t out[104];
    std::memset(out, 0xCC, sizeof out);
    unsigned size = sizeof out;
    fakedriver::reply().structOutputSize = 20;
    std::memset(fakedriver::reply().structure, 0x11, 104);

    ASSERT_EQ(transport.readStruct(0x990, out, &size), 0);
    EXPECT_EQ(size, 20u);
    EXPECT_EQ(fakedriver::lastRequest().header, header(0, 0, 0, 104));
    for (unsigned i = 0; i < 20; ++i)
        EXPECT_EQ(out[i], 0x11) << i;
    for (unsigned i = 20; i < sizeof out; ++i)
        EXPECT_EQ(out[i], 0xCC) << i;
}

TEST_F(IoctlTransport, WriteStructReadStructReportsTheReturnedSize)
{
    const uint8_t in[184] = {9};
    uint8_t out[4] = {};
    unsigned size = 4;
    fakedriver::reply().structOutputSize = 2;
    std::memcpy(fakedriver::reply().structure, "\x01\x02", 2);
    ASSERT_EQ(transport.writeStructReadStruct(0x906, in, sizeof in, out, &size), 0);
    EXPECT_EQ(size, 2u);
    EXPECT_EQ(fakedriver::lastRequest().header, header(0, 184, 0, 4));
    EXPECT_EQ(out[0], 1);
    EXPECT_EQ(out[1], 2);
    EXPECT_EQ(out[2], 0);
}

TEST_F(IoctlTransport, WriteScalarReadStructReportsTheReturnedSize)
{
    const unsigned long long in[2] = {3, 4};
    uint8_t out[16] = {};
    unsigned size = 16;
    fakedriver::reply().structOutputSize = 9;
    ASSERT_EQ(transport.writeScalarReadStruct(kReq, in, 2, out, &size), 0);
    EXPECT_EQ(size, 9u);
    EXPECT_EQ(fakedriver::lastRequest().header, header(2, 0, 0, 16));
}

TEST_F(IoctlTransport, UnsignedCharReadOfHexHundredStoresOne)
{
    unsigned char out = 0x55;
    fakedriver::reply().scalars[0] = 0x100;
    ASSERT_EQ(transport.readScalar(0x994, &out), 0);
    EXPECT_EQ(out, 1);
}

TEST_F(IoctlTransport, UnsignedCharReadOfZeroStoresZeroAndOfHighBitsStoresOne)
{
    unsigned char out = 0x55;
    fakedriver::reply().scalars[0] = 0;
    ASSERT_EQ(transport.readScalar(0x994, &out), 0);
    EXPECT_EQ(out, 0);
    fakedriver::reply().scalars[0] = 0x8000000000000000ULL;
    ASSERT_EQ(transport.readScalar(0x994, &out), 0);
    EXPECT_EQ(out, 1);
    fakedriver::reply().scalars[0] = 0x2A;
    ASSERT_EQ(transport.readScalar(0x994, &out), 0);
    EXPECT_EQ(out, 1);  // not the low byte
}

TEST_F(IoctlTransport, UnsignedCharExchangeOfHexHundredStoresOne)
{
    unsigned char out = 0x55;
    fakedriver::reply().scalars[0] = 0x100;
    ASSERT_EQ(transport.writeScalarReadScalar(kReq, 7u, &out), 0);
    EXPECT_EQ(out, 1);
    fakedriver::reply().scalars[0] = 0;
    ASSERT_EQ(transport.writeScalarReadScalar(kReq, 7u, &out), 0);
    EXPECT_EQ(out, 0);
    fakedriver::reply().scalars[0] = 0xFE;
    ASSERT_EQ(transport.writeScalarReadScalar(kReq, 7u, &out), 0);
    EXPECT_EQ(out, 1);
}

TEST_F(IoctlTransport, BoolReadIsTrueForAnyNonZeroValue)
{
    bool out = true;
    fakedriver::reply().scalars[0] = 0;
    ASSERT_EQ(transport.readScalar(kReq, &out), 0);
    EXPECT_FALSE(out);
    fakedriver::reply().scalars[0] = 0x100000000ULL;
    ASSERT_EQ(transport.readScalar(kReq, &out), 0);
    EXPECT_TRUE(out);
}

TEST_F(IoctlTransport, UnsignedIntReadsKeepTheLowThirtyTwoBits)
{
    unsigned int out = 0;
    fakedriver::reply().scalars[0] = 0x1234567889ABCDEFULL;
    ASSERT_EQ(transport.readScalar(kReq, &out), 0);
    EXPECT_EQ(out, 0x89ABCDEFu);
    out = 0;
    ASSERT_EQ(transport.writeScalarReadScalar(kReq, 5u, &out), 0);
    EXPECT_EQ(out, 0x89ABCDEFu);
}

TEST_F(IoctlTransport, SingleScalarWritesAreZeroExtended)
{
    ASSERT_EQ(transport.writeScalar(kReq, true), 0);
    EXPECT_EQ(fakedriver::lastRequest().inputScalar(0), 1u);
    ASSERT_EQ(transport.writeScalar(kReq, false), 0);
    EXPECT_EQ(fakedriver::lastRequest().inputScalar(0), 0u);
    ASSERT_EQ(transport.writeScalar(kReq, 0xFFFFFFFFu), 0);
    EXPECT_EQ(fakedriver::lastRequest().inputScalar(0), 0x00000000FFFFFFFFULL);
    ASSERT_EQ(transport.writeScalar(kReq, static_cast<unsigned char>(0xFF)), 0);
    EXPECT_EQ(fakedriver::lastRequest().inputScalar(0), 0xFFu);
    unsigned int out = 0;
    ASSERT_EQ(transport.writeScalarReadScalar(kReq, 0x80000000u, &out), 0);
    EXPECT_EQ(fakedriver::lastRequest().inputScalar(0), 0x80000000ULL);
    EXPECT_EQ(fakedriver::lastRequest().header, header(1, 0, 1, 0));
}

// ---- the eight argument words of every operation ----------------------------

// Sees every request at slot 4 and remembers the eight words.
class RecordingTransport : public IoctlMessageUser {
public:
    using IoctlMessageUser::IoctlMessageUser;
    using IoctlMessageUser::call;
    int call(int req, IoctlArguments* args) override
    {
        ++calls;
        lastReq = req;
        seen = *args;
        return IoctlMessageUser::call(req, args);
    }
    int calls = 0;
    int lastReq = 0;
    IoctlArguments seen{};
};

// Which of the words 1..8 an operation fills (bit n-1 for word n).
constexpr unsigned w(unsigned n)
{
    return 1u << (n - 1);
}

unsigned filledWords(const IoctlArguments& a)
{
    unsigned mask = 0;
    mask |= a.scalarInputCount ? w(1) : 0;
    mask |= a.structInputSize ? w(2) : 0;
    mask |= a.scalarOutputCount ? w(3) : 0;
    mask |= a.structOutputSize ? w(4) : 0;
    mask |= a.scalarInput ? w(5) : 0;
    mask |= a.structInput ? w(6) : 0;
    mask |= a.scalarOutput ? w(7) : 0;
    mask |= a.structOutput ? w(8) : 0;
    return mask;
}

struct Buffers {
    unsigned long long in[3] = {11, 12, 13};
    unsigned long long out[3] = {};
    uint8_t sIn[24] = {1, 2, 3};
    uint8_t sOut[32] = {};
    unsigned size = sizeof sOut;
    bool b = false;
    unsigned int u = 0;
    unsigned char c = 0;
};

struct SlotCase {
    const char* name;
    unsigned words;
    IoctlBlockHeader sent;
    std::function<int(IoctlMessageUser&, Buffers&)> run;
};

std::ostream& operator<<(std::ostream& os, const SlotCase& c)
{
    return os << c.name;
}

const SlotCase kSlotCases[] = {
    {"call", 0, {0, 0, 0, 0}, [](IoctlMessageUser& t, Buffers&) { return t.call(kReq); }},
    {"readScalarArray", w(3) | w(7), {0, 0, 3, 0},
     [](IoctlMessageUser& t, Buffers& b) { return t.readScalar(kReq, b.out, 3); }},
    {"readScalarBool", w(3) | w(7), {0, 0, 1, 0},
     [](IoctlMessageUser& t, Buffers& b) { return t.readScalar(kReq, &b.b); }},
    {"readScalarUInt", w(3) | w(7), {0, 0, 1, 0},
     [](IoctlMessageUser& t, Buffers& b) { return t.readScalar(kReq, &b.u); }},
    {"readScalarUChar", w(3) | w(7), {0, 0, 1, 0},
     [](IoctlMessageUser& t, Buffers& b) { return t.readScalar(kReq, &b.c); }},
    {"readStruct", w(4) | w(8), {0, 0, 0, 32},
     [](IoctlMessageUser& t, Buffers& b) { return t.readStruct(kReq, b.sOut, &b.size); }},
    {"writeScalarArray", w(1) | w(5), {3, 0, 0, 0},
     [](IoctlMessageUser& t, Buffers& b) { return t.writeScalar(kReq, b.in, 3); }},
    {"writeScalarBool", w(1) | w(5), {1, 0, 0, 0},
     [](IoctlMessageUser& t, Buffers&) { return t.writeScalar(kReq, true); }},
    {"writeScalarUInt", w(1) | w(5), {1, 0, 0, 0},
     [](IoctlMessageUser& t, Buffers&) { return t.writeScalar(kReq, 9u); }},
    {"writeScalarUChar", w(1) | w(5), {1, 0, 0, 0},
     [](IoctlMessageUser& t, Buffers&) { return t.writeScalar(kReq, static_cast<unsigned char>(9)); }},
    {"writeStruct", w(2) | w(6), {0, 24, 0, 0},
     [](IoctlMessageUser& t, Buffers& b) { return t.writeStruct(kReq, b.sIn, 24); }},
    {"exchangeUInt", w(1) | w(3) | w(5) | w(7), {1, 0, 1, 0},
     [](IoctlMessageUser& t, Buffers& b) { return t.writeScalarReadScalar(kReq, 4u, &b.u); }},
    {"exchangeUChar", w(1) | w(3) | w(5) | w(7), {1, 0, 1, 0},
     [](IoctlMessageUser& t, Buffers& b) { return t.writeScalarReadScalar(kReq, 4u, &b.c); }},
    {"writeScalarReadScalar", w(1) | w(3) | w(5) | w(7), {2, 0, 3, 0},
     [](IoctlMessageUser& t, Buffers& b) { return t.writeScalarReadScalar(kReq, b.in, 2, b.out, 3); }},
    {"writeScalarReadStruct", w(1) | w(4) | w(5) | w(8), {2, 0, 0, 32},
     [](IoctlMessageUser& t, Buffers& b) { return t.writeScalarReadStruct(kReq, b.in, 2, b.sOut, &b.size); }},
    {"writeStructReadStruct", w(2) | w(4) | w(6) | w(8), {0, 24, 0, 32},
     [](IoctlMessageUser& t, Buffers& b) { return t.writeStructReadStruct(kReq, b.sIn, 24, b.sOut, &b.size); }},
    {"writeStructReadScalar", w(2) | w(3) | w(6) | w(7), {0, 24, 3, 0},
     [](IoctlMessageUser& t, Buffers& b) { return t.writeStructReadScalar(kReq, b.sIn, 24, b.out, 3); }},
    {"writeScalarWriteStruct", w(1) | w(2) | w(5) | w(6), {3, 24, 0, 0},
     [](IoctlMessageUser& t, Buffers& b) { return t.writeScalarWriteStruct(kReq, b.in, 3, b.sIn, 24); }},
};

class SlotArguments : public ::testing::TestWithParam<SlotCase> {
protected:
    void SetUp() override { fakedriver::reset(); }
};

TEST_P(SlotArguments, FillsExactlyItsWordsAndReachesSlotFourOnce)
{
    RecordingTransport t(kFd);
    Buffers b;
    ASSERT_EQ(GetParam().run(t, b), 0);
    EXPECT_EQ(t.calls, 1);
    EXPECT_EQ(t.lastReq, kReq);
    EXPECT_EQ(filledWords(t.seen), GetParam().words);
    ASSERT_EQ(fakedriver::requestCount(), 1u);
    EXPECT_EQ(fakedriver::lastRequest().number, static_cast<unsigned long>(kReq));
    EXPECT_EQ(fakedriver::lastRequest().header, GetParam().sent);
}

// Arrays of the caller go straight into the words; single values travel
// through a 64-bit local of the operation, never the caller's narrower variable.
TEST_P(SlotArguments, PointsTheWordsAtTheCallersArraysOrAtItsOwnLocal)
{
    RecordingTransport t(kFd);
    Buffers b;
    ASSERT_EQ(GetParam().run(t, b), 0);
    const unsigned words = GetParam().words;
    const IoctlArguments& a = t.seen;
    if (words & w(5)) {
        const void* in = a.scalarInput;
        if (a.scalarInputCount > 1)
            EXPECT_EQ(in, static_cast<const void*>(b.in));
        else
            EXPECT_NE(in, static_cast<const void*>(b.in));
    }
    if (words & w(6)) {
        EXPECT_EQ(a.structInput, static_cast<const void*>(b.sIn));
    }
    if (words & w(7)) {
        const void* out = a.scalarOutput;
        if (a.scalarOutputCount > 1)
            EXPECT_EQ(out, static_cast<const void*>(b.out));
        else
            EXPECT_TRUE(out != &b.u && out != &b.c && out != &b.b && out != b.out);
    }
    if (words & w(8)) {
        EXPECT_EQ(a.structOutput, static_cast<void*>(b.sOut));
    }
}

TEST_P(SlotArguments, FailedIoctlLeavesEveryOutputAndTheSizeUntouched)
{
    RecordingTransport t(kFd);
    Buffers b;
    b.b = true;
    b.u = 0x5555;
    b.c = 0x55;
    b.size = 17;  // a capacity the driver never sees back
    std::memset(b.out, 0x5A, sizeof b.out);
    std::memset(b.sOut, 0x5A, sizeof b.sOut);
    fakedriver::reply().status = -1;
    std::memset(fakedriver::reply().structure, 0x11, 64);
    fakedriver::reply().scalars[0] = 0x11;

    ASSERT_EQ(GetParam().run(t, b), -1);
    EXPECT_TRUE(b.b);
    EXPECT_EQ(b.u, 0x5555u);
    EXPECT_EQ(b.c, 0x55);
    EXPECT_EQ(b.size, 17u);
    for (unsigned long long v : b.out)
        EXPECT_EQ(v, 0x5A5A5A5A5A5A5A5AULL);
    for (uint8_t v : b.sOut)
        EXPECT_EQ(v, 0x5A);
}

INSTANTIATE_TEST_SUITE_P(EveryOperation, SlotArguments, ::testing::ValuesIn(kSlotCases),
                         [](const auto& param) { return std::string(param.param.name); });

// ---- dispatch through the table -----------------------------------------------

// Itanium C++ ABI: a pointer to a virtual member holds 1 + its byte offset in
// the dispatch table.
template <typename Pmf>
std::size_t slotOf(Pmf pmf)
{
    struct Representation {
        std::uintptr_t ptr;
        std::ptrdiff_t adjust;
    } rep;
    static_assert(sizeof rep == sizeof pmf, "two-word member pointer");
    std::memcpy(&rep, &pmf, sizeof rep);
    return (rep.ptr - 1) / sizeof(void*);
}

using T = IoctlMessageUser;
using ULL = unsigned long long;

TEST(IoctlTransportTable, VirtualOperationsSitInTheirFixedSlots)
{
    EXPECT_EQ(slotOf(&T::mapMemory), 2u);
    EXPECT_EQ(slotOf(static_cast<int (T::*)(int)>(&T::call)), 3u);
    EXPECT_EQ(slotOf(static_cast<int (T::*)(int, IoctlArguments*)>(&T::call)), 4u);
    EXPECT_EQ(slotOf(static_cast<int (T::*)(int, ULL*, unsigned)>(&T::readScalar)), 5u);
    EXPECT_EQ(slotOf(static_cast<int (T::*)(int, bool*)>(&T::readScalar)), 6u);
    EXPECT_EQ(slotOf(static_cast<int (T::*)(int, unsigned int*)>(&T::readScalar)), 7u);
    EXPECT_EQ(slotOf(static_cast<int (T::*)(int, unsigned char*)>(&T::readScalar)), 8u);
    EXPECT_EQ(slotOf(&T::readStruct), 9u);
    EXPECT_EQ(slotOf(static_cast<int (T::*)(int, const ULL*, unsigned)>(&T::writeScalar)), 10u);
    EXPECT_EQ(slotOf(static_cast<int (T::*)(int, bool)>(&T::writeScalar)), 11u);
    EXPECT_EQ(slotOf(static_cast<int (T::*)(int, unsigned int)>(&T::writeScalar)), 12u);
    EXPECT_EQ(slotOf(static_cast<int (T::*)(int, unsigned char)>(&T::writeScalar)), 13u);
    EXPECT_EQ(slotOf(&T::writeStruct), 14u);
    EXPECT_EQ(slotOf(static_cast<int (T::*)(int, unsigned, unsigned*)>(&T::writeScalarReadScalar)), 15u);
    EXPECT_EQ(slotOf(static_cast<int (T::*)(int, unsigned, unsigned char*)>(&T::writeScalarReadScalar)), 16u);
    EXPECT_EQ(slotOf(static_cast<int (T::*)(int, const ULL*, unsigned, ULL*, unsigned)>(&T::writeScalarReadScalar)),
              17u);
    EXPECT_EQ(slotOf(&T::writeScalarReadStruct), 18u);
    EXPECT_EQ(slotOf(&T::writeStructReadStruct), 19u);
    EXPECT_EQ(slotOf(&T::writeStructReadScalar), 20u);
    EXPECT_EQ(slotOf(&T::writeScalarWriteStruct), 21u);
    EXPECT_EQ(slotOf(&T::sendMessage), 22u);
    EXPECT_EQ(slotOf(&T::sendBufferMessage), 23u);
    EXPECT_EQ(slotOf(&T::interfaceType), 24u);
}

// Overrides the wide operations and answers them itself: the narrow wrappers
// must arrive here, not at the base implementations.
class WideOperationSpy : public IoctlMessageUser {
public:
    WideOperationSpy() : IoctlMessageUser(kFd) {}
    using IoctlMessageUser::readScalar;
    using IoctlMessageUser::writeScalar;
    using IoctlMessageUser::writeScalarReadScalar;

    int writeScalarReadScalar(int, const ULL* in, unsigned inCount, ULL* out, unsigned outCount) override
    {
        return record("17", in, inCount, outCount, [&] {
            for (unsigned i = 0; i < outCount; ++i)
                out[i] = 0x300 + i;
        });
    }
    int writeScalarReadStruct(int, const ULL* in, unsigned inCount, void*, unsigned*) override
    {
        return record("18", in, inCount, 0, [] {});
    }
    int writeStructReadStruct(int, const void*, unsigned, void*, unsigned*) override
    {
        return record("19", nullptr, 0, 0, [] {});
    }
    int writeStructReadScalar(int, const void*, unsigned, ULL*, unsigned outCount) override
    {
        return record("20", nullptr, 0, outCount, [] {});
    }
    int writeScalarWriteStruct(int, const ULL* in, unsigned inCount, const void*, unsigned) override
    {
        return record("21", in, inCount, 0, [] {});
    }

    std::string trail;
    ULL firstInput = 0;
    unsigned inputs = 0;
    unsigned outputs = 0;

private:
    template <typename Fill>
    int record(const char* slot, const ULL* in, unsigned inCount, unsigned outCount, Fill fill)
    {
        trail += slot;
        inputs = inCount;
        outputs = outCount;
        firstInput = inCount ? in[0] : 0;
        fill();
        return 0;
    }
};

TEST(IoctlTransportTable, NarrowWrappersReachTheOverriddenWideOperations)
{
    struct Case {
        const char* slot;
        std::function<int(IoctlMessageUser&)> run;
        unsigned inputs, outputs;
    };
    ULL values[2] = {};
    bool b = false;
    unsigned int u = 0;
    unsigned char c = 0;
    uint8_t s[8] = {};
    unsigned size = 8;
    const Case cases[] = {
        {"17", [&](IoctlMessageUser& t) { return t.readScalar(kReq, values, 2); }, 0, 2},
        {"17", [&](IoctlMessageUser& t) { return t.readScalar(kReq, &b); }, 0, 1},
        {"17", [&](IoctlMessageUser& t) { return t.readScalar(kReq, &u); }, 0, 1},
        {"17", [&](IoctlMessageUser& t) { return t.readScalar(kReq, &c); }, 0, 1},
        {"18", [&](IoctlMessageUser& t) { return t.readStruct(kReq, s, &size); }, 0, 0},
        {"17", [&](IoctlMessageUser& t) { return t.writeScalar(kReq, values, 2); }, 2, 0},
        {"17", [&](IoctlMessageUser& t) { return t.writeScalar(kReq, true); }, 1, 0},
        {"17", [&](IoctlMessageUser& t) { return t.writeScalar(kReq, 5u); }, 1, 0},
        {"17", [&](IoctlMessageUser& t) { return t.writeScalar(kReq, static_cast<unsigned char>(5)); }, 1, 0},
        {"20", [&](IoctlMessageUser& t) { return t.writeStruct(kReq, s, 8); }, 0, 0},
        {"17", [&](IoctlMessageUser& t) { return t.writeScalarReadScalar(kReq, 6u, &u); }, 1, 1},
        {"17", [&](IoctlMessageUser& t) { return t.writeScalarReadScalar(kReq, 6u, &c); }, 1, 1},
    };
    for (const Case& k : cases) {
        WideOperationSpy spy;
        fakedriver::reset();
        EXPECT_EQ(k.run(spy), 0);
        EXPECT_EQ(spy.trail, k.slot);
        EXPECT_EQ(spy.inputs, k.inputs) << k.slot;
        EXPECT_EQ(spy.outputs, k.outputs) << k.slot;
        EXPECT_EQ(fakedriver::requestCount(), 0u);
    }
    EXPECT_EQ(values[0], 0x300u);
    EXPECT_EQ(values[1], 0x301u);
    EXPECT_EQ(u, 0x300u);
    EXPECT_EQ(c, 1);
    EXPECT_TRUE(b);
}

// Overrides slot 5 and slot 10: the single-scalar wrappers are built on them.
class ArrayOperationSpy : public IoctlMessageUser {
public:
    ArrayOperationSpy() : IoctlMessageUser(kFd) {}
    using IoctlMessageUser::readScalar;
    using IoctlMessageUser::writeScalar;
    int readScalar(int, ULL* out, unsigned count) override
    {
        ++reads;
        lastCount = count;
        preset = *out;
        *out = answer;
        return status;
    }
    int writeScalar(int, const ULL* in, unsigned count) override
    {
        ++writes;
        lastCount = count;
        written = *in;
        return status;
    }
    int reads = 0, writes = 0;
    unsigned lastCount = 0;
    ULL preset = 0xBAD, answer = 0, written = 0;
    int status = 0;
};

TEST(IoctlTransportTable, SingleScalarReadsUseSlotFiveWithALocalStartingAtZero)
{
    ArrayOperationSpy spy;
    spy.answer = 0x1FF;
    bool b = false;
    unsigned int u = 0;
    unsigned char c = 0;
    ASSERT_EQ(spy.readScalar(kReq, &b), 0);
    EXPECT_EQ(spy.preset, 0u);
    ASSERT_EQ(spy.readScalar(kReq, &u), 0);
    EXPECT_EQ(spy.preset, 0u);
    ASSERT_EQ(spy.readScalar(kReq, &c), 0);
    EXPECT_EQ(spy.preset, 0u);
    EXPECT_EQ(spy.reads, 3);
    EXPECT_EQ(spy.lastCount, 1u);
    EXPECT_TRUE(b);
    EXPECT_EQ(u, 0x1FFu);
    EXPECT_EQ(c, 1);

    spy.status = 1002;
    u = 7;
    EXPECT_EQ(spy.readScalar(kReq, &u), 1002);
    EXPECT_EQ(u, 7u);
}

TEST(IoctlTransportTable, SingleScalarWritesUseSlotTen)
{
    ArrayOperationSpy spy;
    ASSERT_EQ(spy.writeScalar(kReq, true), 0);
    EXPECT_EQ(spy.written, 1u);
    ASSERT_EQ(spy.writeScalar(kReq, 0xFFFFFFFFu), 0);
    EXPECT_EQ(spy.written, 0xFFFFFFFFu);
    ASSERT_EQ(spy.writeScalar(kReq, static_cast<unsigned char>(0x80)), 0);
    EXPECT_EQ(spy.written, 0x80u);
    EXPECT_EQ(spy.writes, 3);
    EXPECT_EQ(spy.lastCount, 1u);
}

// ---- messages, interface type, factory, mapping -------------------------------

TEST_F(IoctlTransport, LegacyDriverRefusesMessagesWithoutCallingIt)
{
    _VantorixIOMessageRequest message{};
    _VantorixIOBufferMessageRequest buffer{};
    EXPECT_EQ(transport.sendMessage(&message), kQuorvaleMessagesUnsupported);
    EXPECT_EQ(transport.sendBufferMessage(&buffer), 1012);
    EXPECT_EQ(fakedriver::requestCount(), 0u);
    EXPECT_EQ(transport.interfaceType(), 0);
}

TEST(IoctlTransportFactory, QuorvaleGivesThePlainTransport)
{
    std::unique_ptr<IoctlMessageUser> t(IoctlMessageUser::createForDriver(17, "Quorvale"));
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(typeid(*t), typeid(IoctlMessageUser));
    EXPECT_EQ(t->descriptor(), 17);
    EXPECT_EQ(t->interfaceType(), 0);
}

TEST(IoctlTransportFactory, VantorixIOGivesTheTranslatingTransport)
{
    std::unique_ptr<IoctlMessageUser> t(IoctlMessageUser::createForDriver(18, "VantorixIO"));
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(typeid(*t), typeid(VantorixIOIoctlMessageUser));
    EXPECT_EQ(t->descriptor(), 18);
    EXPECT_EQ(t->interfaceType(), 4);
}

TEST(IoctlTransportFactory, LowerCaseDriverNameGivesNull)
{
    EXPECT_EQ(IoctlMessageUser::createForDriver(3, "quorvale"), nullptr);
    EXPECT_EQ(IoctlMessageUser::createForDriver(3, "vantorixio"), nullptr);
}

TEST(IoctlTransportFactory, AnyOtherDriverNameGivesNull)
{
    for (const char* name : {"", "Quorval", "Quorvale ", "QuorvaleX", "VantorixIO2", "card", "dv"})
        EXPECT_EQ(IoctlMessageUser::createForDriver(3, name), nullptr) << '"' << name << '"';
}

TEST(IoctlTransportFactory, NodeWithoutDriverNameGetsNoTransport)
{
    EXPECT_EQ(IoctlMessageUser::createForDriver(3, nullptr), nullptr);
}

TEST(IoctlTransportFactory, DestroyingTheTransportLeavesTheDescriptorOpen)
{
    int pipeFds[2];
    ASSERT_EQ(pipe(pipeFds), 0);
    for (const char* name : {"Quorvale", "VantorixIO"}) {
        IoctlMessageUser* t = IoctlMessageUser::createForDriver(pipeFds[0], name);
        ASSERT_NE(t, nullptr);
        delete t;  // the deleting destructor, through the base
        EXPECT_NE(fcntl(pipeFds[0], F_GETFD), -1) << name;
    }
    close(pipeFds[0]);
    close(pipeFds[1]);
}

class MappedFile : public ::testing::Test {
protected:
    void SetUp() override
    {
        char path[] = "/tmp/transport-map-XXXXXX";
        fd = mkstemp(path);
        ASSERT_GE(fd, 0);
        unlink(path);
        page = static_cast<std::size_t>(getpagesize());
        std::vector<uint8_t> contents(2 * page + 80);
        for (std::size_t i = 0; i < contents.size(); ++i)
            contents[i] = static_cast<uint8_t>(i / page + 1);
        contents[2 * page] = 189;
        ASSERT_EQ(write(fd, contents.data(), contents.size()), static_cast<ssize_t>(contents.size()));
    }
    void TearDown() override { close(fd); }

    std::string protectionOf(const void* address)
    {
        std::ifstream maps("/proc/self/maps");
        std::string line;
        const auto target = reinterpret_cast<std::uintptr_t>(address);
        while (std::getline(maps, line)) {
            unsigned long from = 0, to = 0;
            char perms[5] = {};
            if (std::sscanf(line.c_str(), "%lx-%lx %4s", &from, &to, perms) == 3 && target >= from
                && target < to)
                return perms;
        }
        return {};
    }

    int fd = -1;
    std::size_t page = 0;
};

TEST_F(MappedFile, MapsTheRequestedPageReadOnlyAndPrivate)
{
    IoctlMessageUser t(fd);
    auto* area = static_cast<const uint8_t*>(t.mapMemory(2, 80, false));
    ASSERT_NE(area, nullptr);
    EXPECT_EQ(area[0], 189);
    EXPECT_EQ(area[79], 3);
    EXPECT_EQ(protectionOf(area), "r--p");
    EXPECT_EQ(munmap(const_cast<uint8_t*>(area), 80), 0);
}

TEST_F(MappedFile, WritableMappingIsPrivateToTheProcess)
{
    IoctlMessageUser t(fd);
    auto* area = static_cast<uint8_t*>(t.mapMemory(1, 80, true));
    ASSERT_NE(area, nullptr);
    EXPECT_EQ(protectionOf(area), "rw-p");
    EXPECT_EQ(area[0], 2);
    area[0] = 0x77;
    EXPECT_EQ(munmap(area, 80), 0);
    uint8_t onDisk = 0;
    ASSERT_EQ(pread(fd, &onDisk, 1, static_cast<off_t>(page)), 1);
    EXPECT_EQ(onDisk, 2);
}

TEST_F(MappedFile, FailedMappingGivesNull)
{
    IoctlMessageUser closed(-1);
    EXPECT_EQ(closed.mapMemory(2, 80, false), nullptr);
    int pipeFds[2];
    ASSERT_EQ(pipe(pipeFds), 0);
    IoctlMessageUser onPipe(pipeFds[0]);
    EXPECT_EQ(onPipe.mapMemory(2, 80, false), nullptr);
    close(pipeFds[0]);
    close(pipeFds[1]);
}

}  // namespace
