// Decibels against hardware values (unity 128), and the scale calls on top.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "RecordingTransport.h"
#include "TransportCallTable.h"

namespace maintenance_test {
namespace {

TEST(GainConversion, UnityIsZeroDecibels)
{
    EXPECT_EQ(ConvertHardwareValueToAudioGain(128), 0.0);
}

TEST(GainConversion, ZeroIsZeroDecibelsNotMinusInfinity)
{
    EXPECT_EQ(ConvertHardwareValueToAudioGain(0), 0.0);
}

TEST(GainConversion, HalvingIsAboutMinusSixDecibels)
{
    EXPECT_DOUBLE_EQ(ConvertHardwareValueToAudioGain(64), 20.0 * std::log10(0.5));
    EXPECT_DOUBLE_EQ(ConvertHardwareValueToAudioGain(256), 20.0 * std::log10(2.0));
    EXPECT_NEAR(ConvertHardwareValueToAudioGain(64), -6.0206, 1e-4);
}

TEST(GainConversion, NegativeHardwareValuesHaveNoGain)
{
    EXPECT_TRUE(std::isnan(ConvertHardwareValueToAudioGain(-128)));
}

TEST(GainConversion, MinusSixDecibelsIsSixtyFourTruncated)
{
    EXPECT_EQ(ConvertAudioGainToHardwareValue(-6.0), 64);  // 64.15
    EXPECT_EQ(ConvertAudioGainToHardwareValue(0.0), 128);
    EXPECT_EQ(ConvertAudioGainToHardwareValue(6.0), 255);  // 255.4
}

TEST(GainConversion, TruncatesTowardZero)
{
    // 127.9 and 0.9 in hardware terms.
    EXPECT_EQ(ConvertAudioGainToHardwareValue(20.0 * std::log10(127.9 / 128.0)), 127);
    EXPECT_EQ(ConvertAudioGainToHardwareValue(20.0 * std::log10(0.9 / 128.0)), 0);
    EXPECT_EQ(ConvertAudioGainToHardwareValue(-std::numeric_limits<double>::infinity()), 0);
}

TEST(GainConversion, ValuesBeyondThirtyTwoBitsGiveTheTruncationSentinel)
{
    EXPECT_EQ(ConvertAudioGainToHardwareValue(200.0), INT32_MIN);
    EXPECT_EQ(ConvertAudioGainToHardwareValue(std::numeric_limits<double>::infinity()), INT32_MIN);
    EXPECT_EQ(ConvertAudioGainToHardwareValue(std::numeric_limits<double>::quiet_NaN()), INT32_MIN);
    const int32_t largest = ConvertAudioGainToHardwareValue(ConvertHardwareValueToAudioGain(INT32_MAX));
    EXPECT_TRUE(largest == INT32_MAX || largest == INT32_MAX - 1) << largest;
}

// The round trip over the hardware range: the decibel value lands on v or a
// hair below it, so truncation gives back v or v - 1, never anything else.
// 0 is the exception: it reads as 0 dB, which writes back as unity.
TEST(GainConversion, RoundTripOverTheHardwareRangeGivesBackTheValueOrOneLess)
{
    EXPECT_EQ(ConvertAudioGainToHardwareValue(ConvertHardwareValueToAudioGain(0)), 128);
    EXPECT_EQ(ConvertAudioGainToHardwareValue(ConvertHardwareValueToAudioGain(128)), 128);

    // Which values land a hair below is up to the last bits of the C library's
    // log10 and pow, so only the property itself is asserted.
    for (int32_t v = 1; v <= 65535; ++v) {
        const int32_t back = ConvertAudioGainToHardwareValue(ConvertHardwareValueToAudioGain(v));
        ASSERT_TRUE(back == v || back == v - 1) << "hardware value " << v << " came back as " << back;
    }
}

TEST(GainConversion, RoundTripHoldsSampledUpToTheLargestValue)
{
    for (int64_t v = 65536; v <= INT32_MAX; v += 65521) {
        const int32_t back =
            ConvertAudioGainToHardwareValue(ConvertHardwareValueToAudioGain(static_cast<int32_t>(v)));
        ASSERT_TRUE(back == v || back == v - 1) << v << " came back as " << back;
    }
}

// Gain from decibels back to decibels stays within one hardware step.
TEST(GainConversion, DecibelsSurviveWithinOneStep)
{
    for (double dB = -40.0; dB <= 12.0; dB += 0.25) {
        const int32_t v = ConvertAudioGainToHardwareValue(dB);
        ASSERT_GT(v, 0);
        EXPECT_LE(ConvertHardwareValueToAudioGain(v), dB + 1e-9);
        EXPECT_GT(ConvertHardwareValueToAudioGain(v + 1), dB);
    }
}

class ScaleCalls : public ::testing::Test {
protected:
    RecordingTransport transport;
    QuorvaleInstanceRec rec = recordFor(&transport);
};

TEST_F(ScaleCalls, AnalogReadsConvertFourValuesAndSkipNullOutputs)
{
    transport.replyScalars = {128, 64, 256, 0};
    double first = 1, third = 1;
    ASSERT_EQ(GetAnalogAudioOutputScale(&rec, &first, nullptr, &third, nullptr), 0);
    ASSERT_EQ(transport.requests.size(), 1u);
    EXPECT_EQ(transport.requests[0].request, 0x954);
    EXPECT_EQ(transport.requests[0].scalarOutCount, 4u);
    EXPECT_EQ(first, 0.0);
    EXPECT_DOUBLE_EQ(third, 20.0 * std::log10(2.0));

    double g[4] = {1, 1, 1, 1};
    ASSERT_EQ(GetAnalogAudioInputScale(&rec, nullptr, &g[1], nullptr, &g[3]), 0);
    EXPECT_EQ(transport.requests.at(1).request, 0x953);
    EXPECT_EQ(g[0], 1.0);
    EXPECT_DOUBLE_EQ(g[1], 20.0 * std::log10(0.5));
    EXPECT_EQ(g[2], 1.0);
    EXPECT_EQ(g[3], 0.0) << "a hardware 0 reads as 0 dB";
    EXPECT_EQ(GetAnalogAudioInputScale(&rec, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST_F(ScaleCalls, AnalogWritesConvertFourGains)
{
    ASSERT_EQ(SetAnalogAudioOutputScale(&rec, -6.0, 0.0, 6.0, -1000.0), 0);
    ASSERT_EQ(SetAnalogAudioInputScale(&rec, 0.0, 0.0, -6.0, 12.0), 0);
    ASSERT_EQ(transport.requests.size(), 2u);
    EXPECT_EQ(transport.requests[0].request, 0x94D);
    EXPECT_EQ(transport.requests[0].scalarsIn, std::vector<uint64_t>({64, 128, 255, 0}));
    EXPECT_EQ(transport.requests[1].request, 0x94C);
    EXPECT_EQ(transport.requests[1].scalarsIn, std::vector<uint64_t>({128, 128, 64, 509}));
}

TEST_F(ScaleCalls, AWriteBeyondThirtyTwoBitsSendsTheSentinelZeroExtended)
{
    ASSERT_EQ(SetDigitalAudioOutputScale(&rec, 300.0), 0);
    EXPECT_EQ(transport.requests.at(0).scalarsIn, std::vector<uint64_t>({0x80000000ULL}));
}

TEST_F(ScaleCalls, DigitalReadsConvertOneValueAndMayOmitTheOutput)
{
    transport.replyScalars = {64};
    double dB = 1;
    ASSERT_EQ(GetDigitalAudioInputScale(&rec, &dB), 0);
    EXPECT_DOUBLE_EQ(dB, 20.0 * std::log10(0.5));
    EXPECT_EQ(GetDigitalAudioOutputScale(&rec, nullptr), 0);
    EXPECT_EQ(transport.requests.size(), 2u);
}

TEST_F(ScaleCalls, AFailedAnalogReadWritesNoOutput)
{
    transport.status = -1;
    double g[4] = {1, 2, 3, 4};
    EXPECT_EQ(GetAnalogAudioOutputScale(&rec, &g[0], &g[1], &g[2], &g[3]), -1);
    EXPECT_EQ(g[0], 1.0);
    EXPECT_EQ(g[3], 4.0);
}

}  // namespace
}  // namespace maintenance_test
