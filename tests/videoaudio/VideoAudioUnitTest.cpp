// The playback, capture, audio and timing calls without a device: the call
// table's structure, statuses without a device, the calls that never reach a
// driver, BlackOutBuffer, record layouts, and every call against a recording
// transport.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <set>

#include "CallTable.h"
#include "QuorvaleVideoAudio.h"
#include "RecordChecks.h"
#include "RecordingTransport.h"
#include "VantorixIOIoctlMessageUser.h"

using namespace videoaudio;

namespace {

TEST(VideoAudioCallTable, HasOneRowPerDriverRequestCall)
{
    const std::vector<CallRow>& table = callTable();
    EXPECT_EQ(table.size(), 93u);
    std::set<std::string> names;
    for (const CallRow& row : table)
        names.insert(row.name);
    EXPECT_EQ(names.size(), table.size());
}

// The rows agree with the newer driver's transport, and no message-routed row
// needs a structure or more than four scalars, so none is refused with 1002.
TEST(VideoAudioCallTable, RoutesMatchTheNewerDriversTranslation)
{
    VantorixIOIoctlMessageUser translation(-1);
    for (const CallRow& row : callTable()) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(translation.translateIoctl(row.legacy), row.route.request);
        if (row.route.isMessage()) {
            EXPECT_EQ(translation.translateIoctlToMessage(row.legacy), row.route.code);
            EXPECT_EQ(row.structIn, 0u);
            EXPECT_EQ(row.structOut, 0u);
            EXPECT_LE(row.scalarsIn.size(), 4u);
            EXPECT_LE(row.scalarsOut, 4u);
        }
    }
}

TEST(VideoAudioCallTable, EveryCallOnARecordingTransport)
{
    RecordingDriver driver;
    for (const CallRow& row : callTable())
        checkRow(driver, row);
}

int statusWithoutDevice(const CallRow& row)
{
    return row.name == "WaitForNotificationEvents" ? kQuorvaleNotTranslatable : kQuorvaleBadArgument;
}

TEST(VideoAudioWithoutDevice, NullRecordGivesOneAndWritesNothing)
{
    for (const CallRow& row : callTable()) {
        SCOPED_TRACE(row.name);
        Sink sink;
        EXPECT_EQ(row.invoke(nullptr, sink), statusWithoutDevice(row));
        EXPECT_TRUE(sink == Sink());
    }
}

// HardwareStopScheduledPlayback is left out on purpose: it does not test the
// transport (an open device always has one) and would call through null.
TEST(VideoAudioWithoutDevice, NullTransportGivesOneAndWritesNothing)
{
    QuorvaleInstanceRec rec{};
    rec.fd = -1;
    for (const CallRow& row : callTable()) {
        if (row.name == "HardwareStopScheduledPlayback")
            continue;
        SCOPED_TRACE(row.name);
        Sink sink;
        EXPECT_EQ(row.invoke(&rec, sink), statusWithoutDevice(row));
        EXPECT_TRUE(sink == Sink());
    }
}

TEST(VideoAudioWithoutDevice, WaitForNotificationEventsWithoutDeviceGives1002)
{
    QuorvaleInstanceRec rec{};
    const uint32_t events = 1;
    uint32_t result = 7;
    EXPECT_EQ(WaitForNotificationEvents(nullptr, &events, &result), 1002);
    EXPECT_EQ(WaitForNotificationEvents(&rec, &events, &result), 1002);
    EXPECT_EQ(result, 7u);
}

TEST(VideoAudioWithoutDevice, StopScheduledPlaybackTestsOnlyTheRecord)
{
    uint64_t stopTime = 5;
    EXPECT_EQ(HardwareStopScheduledPlayback(nullptr, 1, 2, &stopTime), 1);
    EXPECT_EQ(stopTime, 5u);
}

TEST(VideoAudioWithoutDevice, HardwareGetCompletedInputFrameWithoutDeviceGivesOne)
{
    QuorvaleInstanceRec rec{};
    uint32_t index = 9;
    EXPECT_EQ(HardwareGetCompletedInputFrame(nullptr, nullptr, &index, nullptr, nullptr, nullptr, nullptr,
                                             nullptr, nullptr, nullptr, nullptr, nullptr),
              1);
    EXPECT_EQ(HardwareGetCompletedInputFrame(&rec, nullptr, &index, nullptr, nullptr, nullptr, nullptr,
                                             nullptr, nullptr, nullptr, nullptr, nullptr),
              1);
    EXPECT_EQ(index, 9u);
}

// ---- Calls without a driver request -------------------------------------

TEST(VideoAudioNoRequest, InstallNotificationEventsStoresTheValue)
{
    RecordingDriver driver;
    uint32_t handle = 0;
    EXPECT_EQ(InstallNotificationEvents(driver.rec(), &handle, 0x80000042), 0);
    EXPECT_EQ(handle, 0x80000042u);
    EXPECT_EQ(InstallNotificationEvents(nullptr, &handle, 3), 0);
    EXPECT_EQ(handle, 3u);
    EXPECT_TRUE(driver.take().empty());
}

TEST(VideoAudioNoRequest, RemoveNotificationEventsStoresZero)
{
    RecordingDriver driver;
    uint32_t handle = 0x1234;
    EXPECT_EQ(RemoveNotificationEvents(driver.rec(), &handle), 0);
    EXPECT_EQ(handle, 0u);
    EXPECT_TRUE(driver.take().empty());
}

TEST(VideoAudioNoRequest, AudioInputGetLevelMeterAlwaysGivesOneWithBothLevelsZero)
{
    RecordingDriver driver;
    uint32_t left = 0x55, right = 0x66;
    EXPECT_EQ(AudioInputGetLevelMeter(driver.rec(), &left, &right), 1);
    EXPECT_EQ(left, 0u);
    EXPECT_EQ(right, 0u);
    left = right = 9;
    EXPECT_EQ(AudioInputGetLevelMeter(nullptr, &left, &right), 1);
    EXPECT_EQ(left, 0u);
    EXPECT_EQ(right, 0u);
    EXPECT_TRUE(driver.take().empty());
}

TEST(VideoAudioNoRequest, VideoInputSetAudioInputResyncTokenAlwaysGivesOne)
{
    RecordingDriver driver;
    EXPECT_EQ(VideoInputSetAudioInputResyncToken(driver.rec(), 0), 1);
    EXPECT_EQ(VideoInputSetAudioInputResyncToken(driver.rec(), 0xFFFFFFFF), 1);
    EXPECT_EQ(VideoInputSetAudioInputResyncToken(nullptr, 7), 1);
    EXPECT_TRUE(driver.take().empty());
}

// ---- Records built by the calls, on a recording transport ----------------

TEST(VideoAudioRecords, PlaybackStartIs24BytesWithMinusOne) { RecordingDriver d; checkPlaybackStart(d); }
TEST(VideoAudioRecords, WriteSamplesIs32Bytes) { RecordingDriver d; checkWriteSamples(d); }
TEST(VideoAudioRecords, ReadSamplesIs40BytesInAnd16Out) { RecordingDriver d; checkReadSamples(d); }
TEST(VideoAudioRecords, CompletedPlaybackFramesCountOf3Offers48Bytes) { RecordingDriver d; checkCompletedPlaybackFrames(d); }
TEST(VideoAudioRecords, FlushedInputFramesByteCountIsUnscaled) { RecordingDriver d; checkFlushedInputFrames(d); }
TEST(VideoAudioRecords, StopScheduledPlaybackRecombines64Bits) { RecordingDriver d; checkStopRecombination(d); }

// Outputs of the scalar-array shapes are cleared before the request, so a
// driver returning fewer values than asked for yields zeros, not leftovers.
TEST(VideoAudioRecords, ShortScalarAnswerGivesZeros)
{
    RecordingDriver d;
    CallRow row = rowNamed("GetCaptureVANCLines");
    row.replyScalars = {0x80000001};
    d.answer(row, false);
    uint32_t a = 9, b = 9, c = 9;
    ASSERT_EQ(GetCaptureVANCLines(d.rec(), &a, &b, &c), 0);
    EXPECT_EQ(a, 0x80000001u);
    EXPECT_EQ(b, 0u);
    EXPECT_EQ(c, 0u);
}

// Null outputs of the scalar-array shapes are skipped, the others written.
TEST(VideoAudioRecords, NullScalarOutputsAreSkipped)
{
    RecordingDriver d;
    d.answer(rowNamed("GetRawAnalogAudioInputScale"), false);
    uint32_t b = 0, d4 = 0;
    ASSERT_EQ(GetRawAnalogAudioInputScale(d.rec(), nullptr, &b, nullptr, &d4), 0);
    EXPECT_EQ(b, uint32_t(0x7700000090000002ULL));
    EXPECT_EQ(d4, uint32_t(0x7700000090000004ULL));
}

// ---- BlackOutBuffer --------------------------------------------------------

struct Black {
    uint32_t format;
    uint32_t first;
    uint32_t second;
};

const Black kBlacks[] = {
    {0x32767579, 0x10801080, 0x10801080},  // "2vuy"
    {0x76323130, 0x20010200, 0x04080040},  // "v210"
    {32, 0x000000FF, 0x000000FF},
    {0x42475241, 0x000000FF, 0x000000FF},  // "BGRA"
    {0x72323130, 0x40000104, 0x40000104},  // "r210"
    {0x52313242, 0, 0},                    // "R12B"
    {0x5231324C, 0, 0},                    // "R12L"
};

TEST(BlackOutBuffer, FillsPairsOfTheFormatsBlack)
{
    for (const Black& black : kBlacks) {
        SCOPED_TRACE(black.format);
        uint32_t words[8];
        std::memset(words, 0xAB, sizeof words);
        BlackOutBuffer(words, 24, black.format);
        for (int pair = 0; pair < 3; ++pair) {
            EXPECT_EQ(words[2 * pair], black.first);
            EXPECT_EQ(words[2 * pair + 1], black.second);
        }
        EXPECT_EQ(words[6], 0xABABABABu);
        EXPECT_EQ(words[7], 0xABABABABu);
    }
}

TEST(BlackOutBuffer, SevenBytesWriteNothing)
{
    uint8_t bytes[16];
    std::memset(bytes, 0xAB, sizeof bytes);
    BlackOutBuffer(bytes, 7, 0x32767579);
    for (uint8_t b : bytes)
        EXPECT_EQ(b, 0xAB);
}

TEST(BlackOutBuffer, TwelveBytesWriteOnePairOnly)
{
    uint32_t words[4];
    std::memset(words, 0xAB, sizeof words);
    BlackOutBuffer(words, 12, 0x76323130);
    EXPECT_EQ(words[0], 0x20010200u);
    EXPECT_EQ(words[1], 0x04080040u);
    EXPECT_EQ(words[2], 0xABABABABu);
    EXPECT_EQ(words[3], 0xABABABABu);
}

TEST(BlackOutBuffer, OtherFormatsLeaveTheBufferUnchanged)
{
    for (uint32_t format : {0u, 24u, 0x79757632u /* "yuv2" */, 0x72323130u + 1}) {
        uint8_t bytes[32];
        std::memset(bytes, 0xAB, sizeof bytes);
        BlackOutBuffer(bytes, sizeof bytes, format);
        for (uint8_t b : bytes)
            EXPECT_EQ(b, 0xAB);
    }
}

TEST(BlackOutBuffer, WritesUnalignedBuffersByteExactly)
{
    uint8_t bytes[20];
    std::memset(bytes, 0xAB, sizeof bytes);
    BlackOutBuffer(bytes + 1, 16, 0x72323130);
    EXPECT_EQ(bytes[0], 0xAB);
    uint32_t w[4];
    std::memcpy(w, bytes + 1, 16);
    for (uint32_t v : w)
        EXPECT_EQ(v, 0x40000104u);
    EXPECT_EQ(bytes[17], 0xAB);
}

// ---- Layouts ----------------------------------------------------------------

TEST(VideoAudioLayout, DriverRecordSizes)
{
    EXPECT_EQ(sizeof(QuorvaleFrameDescriptor), 184u);
    EXPECT_EQ(sizeof(QuorvaleCompletedInputFrameRec), 160u);
    EXPECT_EQ(sizeof(QuorvaleCompletionRec), 16u);
    EXPECT_EQ(sizeof(QuorvalePlaybackStartRec), 24u);
    EXPECT_EQ(sizeof(QuorvaleAudioWriteSamplesRec), 32u);
    EXPECT_EQ(sizeof(QuorvaleAudioReadSamplesRec), 40u);
    EXPECT_EQ(sizeof(QuorvaleAudioReadSamplesResultRec), 16u);
    if (sizeof(void*) == 4) {
        EXPECT_EQ(sizeof(QuorvaleAncillaryDescription), 36u);
    }
}

TEST(VideoAudioLayout, CompletedInputFrameOffsets)
{
    EXPECT_EQ(offsetof(QuorvaleCompletedInputFrameRec, secondFieldBuffer), 8u);
    EXPECT_EQ(offsetof(QuorvaleCompletedInputFrameRec, flags), 36u);
    EXPECT_EQ(offsetof(QuorvaleCompletedInputFrameRec, height), 52u);
    EXPECT_EQ(offsetof(QuorvaleCompletedInputFrameRec, rowBytes), 56u);
    EXPECT_EQ(offsetof(QuorvaleCompletedInputFrameRec, pixelFormat), 60u);
    EXPECT_EQ(offsetof(QuorvaleCompletedInputFrameRec, ancillaryPixelFormat), 64u);
    EXPECT_EQ(offsetof(QuorvaleCompletedInputFrameRec, ancillaryRowBytes), 68u);
    EXPECT_EQ(offsetof(QuorvaleCompletedInputFrameRec, firstBlankCount), 76u);
    EXPECT_EQ(offsetof(QuorvaleCompletedInputFrameRec, lineIndex), 96u);
    EXPECT_EQ(offsetof(QuorvaleCompletedInputFrameRec, timecode), 104u);
    EXPECT_EQ(offsetof(QuorvaleAudioReadSamplesRec, inOut), 12u);
    EXPECT_EQ(offsetof(QuorvaleAudioReadSamplesRec, unused), 20u);
    EXPECT_EQ(offsetof(QuorvaleAudioWriteSamplesRec, c), 16u);
    EXPECT_EQ(offsetof(QuorvalePlaybackStartRec, fieldInterrupt), 16u);
}

}  // namespace

extern "C" int videoAudioHeaderRecordBytesInC(void);

TEST(VideoAudioLayout, HeaderCompilesAsCWithTheSameSizes)
{
    EXPECT_EQ(videoAudioHeaderRecordBytesInC(), 184 + 160 + 16);
}
