// The argument block lives on the stack: requests beyond its ceiling are
// refused before any system call, whatever sizes the caller gives.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "FakeDriver.h"
#include "IoctlMessageUser.h"
#include "QuorvaleTypes.h"
#include "VantorixIOIoctlMessageUser.h"

namespace {

constexpr int kFd = 42;

class TransportCeiling : public ::testing::Test {
protected:
    void SetUp() override { fakedriver::reset(); }
};

TEST_F(TransportCeiling, CeilingIsSixtyFourKibibytes)
{
    EXPECT_EQ(IoctlMessageUser::kMaxBlockLength, 65536u);
    IoctlArguments buffer{};
    buffer.structInputSize = 1064;
    buffer.structOutputSize = 1064;
    EXPECT_LT(IoctlMessageUser::blockLength(buffer), IoctlMessageUser::kMaxBlockLength);
}

TEST_F(TransportCeiling, BlockOneByteOverTheCeilingIsRefusedWithoutAnIoctl)
{
    IoctlMessageUser transport(kFd);
    std::vector<uint8_t> out(IoctlMessageUser::kMaxBlockLength, 0xAB);
    IoctlArguments args{};
    args.structOutputSize = uint32_t(IoctlMessageUser::kMaxBlockLength - 16 + 1);
    args.structOutput = out.data();
    EXPECT_EQ(transport.call(0x9F0, &args), kQuorvaleBadArgument);
    EXPECT_EQ(fakedriver::requestCount(), 0u);
    EXPECT_EQ(args.structOutputSize, uint32_t(IoctlMessageUser::kMaxBlockLength - 16 + 1));  // untouched
    EXPECT_EQ(out[0], 0xAB);
}

TEST_F(TransportCeiling, BlockOfExactlyTheCeilingReachesTheDriver)
{
    IoctlMessageUser transport(kFd);
    std::vector<uint8_t> in(IoctlMessageUser::kMaxBlockLength - 16, 0x5A);
    IoctlArguments args{};
    args.structInputSize = uint32_t(in.size());
    args.structInput = in.data();
    EXPECT_EQ(transport.call(0x9F1, &args), 0);
    EXPECT_EQ(fakedriver::requestCount(), 1u);
}

TEST_F(TransportCeiling, MegabyteStructuresAreRefusedThroughEveryShape)
{
    IoctlMessageUser transport(kFd);
    const unsigned megabytes = 8u << 20;
    unsigned size = megabytes;
    EXPECT_EQ(transport.readStruct(0x9F0, nullptr, &size), kQuorvaleBadArgument);
    EXPECT_EQ(size, megabytes);
    EXPECT_EQ(transport.writeStruct(0x9F1, nullptr, megabytes), kQuorvaleBadArgument);
    EXPECT_EQ(transport.writeStructReadStruct(0x9F1, nullptr, 8, nullptr, &size), kQuorvaleBadArgument);
    EXPECT_EQ(transport.writeScalarWriteStruct(0x930, nullptr, 0, nullptr, megabytes), kQuorvaleBadArgument);
    EXPECT_EQ(fakedriver::requestCount(), 0u);
}

// 8 x 0x20000000 is 4 GiB: in 32-bit arithmetic it would wrap to a few bytes.
TEST_F(TransportCeiling, CountsThatWrapAThirtyTwoBitLengthAreRefused)
{
    IoctlMessageUser transport(kFd);
    IoctlArguments args{};
    args.scalarInputCount = 0x20000000u;
    args.scalarOutputCount = 0x20000000u;
    args.structInputSize = 0xFFFFFFF0u;
    args.structOutputSize = 0xFFFFFFFFu;
    EXPECT_EQ(IoctlMessageUser::blockLength(args),
              16u + 8ull * 0x20000000u + 0xFFFFFFF0ull + 8ull * 0x20000000u + 0xFFFFFFFFull);
    EXPECT_EQ(transport.call(0x9A0, &args), kQuorvaleBadArgument);
    EXPECT_EQ(fakedriver::requestCount(), 0u);
}

TEST_F(TransportCeiling, TranslatingTransportRefusesARenumberedRequestOverTheCeiling)
{
    VantorixIOIoctlMessageUser transport(kFd);
    IoctlArguments args{};
    args.structInputSize = 1u << 20;
    EXPECT_EQ(transport.call(0x9F1, &args), kQuorvaleBadArgument);   // renumbered to 0x90020
    EXPECT_EQ(transport.call(0x90020, &args), kQuorvaleBadArgument); // a new number already
    EXPECT_EQ(fakedriver::requestCount(), 0u);
}

}  // namespace
