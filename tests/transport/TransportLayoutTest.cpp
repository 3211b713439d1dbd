// The byte layouts the driver and the product's 32-bit process agree on.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "FakeDriver.h"
#include "IoctlArguments.h"
#include "IoctlMessageUser.h"
#include "VantorixIOIoctlMessageUser.h"

namespace {

constexpr bool k32BitProcess = sizeof(void*) == 4;

TEST(TransportLayout, ArgumentsAreEightThirtyTwoBitWordsInThe32BitProcess)
{
    if (!k32BitProcess)
        GTEST_SKIP() << "pointer words are 64 bits wide here";
    EXPECT_EQ(sizeof(IoctlArguments), 32u);
    EXPECT_EQ(offsetof(IoctlArguments, scalarInputCount), 0u);
    EXPECT_EQ(offsetof(IoctlArguments, structInputSize), 4u);
    EXPECT_EQ(offsetof(IoctlArguments, scalarOutputCount), 8u);
    EXPECT_EQ(offsetof(IoctlArguments, structOutputSize), 12u);
    EXPECT_EQ(offsetof(IoctlArguments, scalarInput), 16u);
    EXPECT_EQ(offsetof(IoctlArguments, structInput), 20u);
    EXPECT_EQ(offsetof(IoctlArguments, scalarOutput), 24u);
    EXPECT_EQ(offsetof(IoctlArguments, structOutput), 28u);
}

TEST(TransportLayout, ArgumentsKeepTheirWordOrderIn64BitBuilds)
{
    if (k32BitProcess)
        GTEST_SKIP() << "covered by the 32-bit layout test";
    EXPECT_EQ(sizeof(IoctlArguments), 48u);
    EXPECT_EQ(offsetof(IoctlArguments, structOutputSize), 12u);
    EXPECT_EQ(offsetof(IoctlArguments, scalarInput), 16u);
    EXPECT_EQ(offsetof(IoctlArguments, structOutput), 40u);
}

TEST(TransportLayout, BlockHeaderIsFourWordsInSixteenBytes)
{
    EXPECT_EQ(sizeof(IoctlBlockHeader), 16u);
    EXPECT_EQ(offsetof(IoctlBlockHeader, scalarInputCount), 0u);
    EXPECT_EQ(offsetof(IoctlBlockHeader, structInputSize), 4u);
    EXPECT_EQ(offsetof(IoctlBlockHeader, scalarOutputCount), 8u);
    EXPECT_EQ(offsetof(IoctlBlockHeader, structOutputSize), 12u);
}

TEST(TransportLayout, MessageRecordIsFortyBytesWithCodeReservedAndScalars)
{
    EXPECT_EQ(sizeof(_VantorixIOMessageRequest), 40u);
    EXPECT_EQ(offsetof(_VantorixIOMessageRequest, messageCode), 0u);
    EXPECT_EQ(offsetof(_VantorixIOMessageRequest, reserved), 4u);
    EXPECT_EQ(offsetof(_VantorixIOMessageRequest, scalars), 8u);
    EXPECT_EQ(sizeof(_VantorixIOMessageRequest::scalars), 32u);
    EXPECT_EQ(sizeof(_VantorixIOBufferMessageRequest), 1064u);
}

TEST(TransportLayout, BlockLengthFollowsTheFourCounts)
{
    for (uint32_t in = 0; in < 5; ++in)
        for (uint32_t sIn : {0u, 1u, 40u, 184u})
            for (uint32_t out = 0; out < 5; ++out)
                for (uint32_t sOut : {0u, 3u, 104u, 1064u}) {
                    IoctlArguments a{};
                    a.scalarInputCount = in;
                    a.structInputSize = sIn;
                    a.scalarOutputCount = out;
                    a.structOutputSize = sOut;
                    EXPECT_EQ(IoctlMessageUser::blockLength(a), 16 + 8 * in + sIn + 8 * out + sOut);
                }
}

// The driver writes all of the room it was offered; under the address
// sanitizer a block shorter than its length formula would be reported here.
TEST(TransportLayout, BlockIsAlignedAndTheDriverMayFillAllOfIt)
{
    IoctlMessageUser t(5);
    for (unsigned odd : {0u, 1u, 7u, 13u}) {
        fakedriver::reset();
        uint8_t in[200] = {};
        uint8_t out[200] = {};
        unsigned long long scalarsIn[3] = {1, 2, 3};
        unsigned long long scalarsOut[3] = {};
        IoctlArguments a{};
        a.scalarInputCount = 3;
        a.structInputSize = 40 + odd;
        a.scalarOutputCount = 3;
        a.structOutputSize = 100 + odd;
        a.scalarInput = reinterpret_cast<const uint64_t*>(scalarsIn);
        a.structInput = in;
        a.scalarOutput = reinterpret_cast<uint64_t*>(scalarsOut);
        a.structOutput = out;
        std::memset(fakedriver::reply().structure, 0x3C, sizeof out);
        ASSERT_EQ(t.call(0x9A6, &a), 0);
        const auto& r = fakedriver::lastRequest();
        EXPECT_EQ(r.blockAddress % IoctlMessageUser::kBlockAlignment, 0u);
        EXPECT_EQ(IoctlMessageUser::kBlockAlignment, 16u);
        EXPECT_EQ(r.inputLength, 16u + 24u + 40u + odd);
        EXPECT_EQ(out[100 + odd - 1], 0x3C);
        EXPECT_EQ(out[100 + odd], 0);
    }
}

}  // namespace
