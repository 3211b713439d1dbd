// The playback, capture, audio and timing calls against simulated cards of
// both driver generations: what reaches the driver, what comes back.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "CallTable.h"
#include "QuorvaleAccess.h"
#include "QuorvaleDeviceNode.h"
#include "QuorvaleInstanceRec.h"
#include "QuorvaleVideoAudio.h"
#include "RecordChecks.h"
#include "SimulatedCard.h"
#include "TableRunner.h"

using namespace videoaudio;
using simcard::Generation;
using simcard::NodeConfig;
using simcard::Reply;
using simcard::SimulatedCard;

namespace {

constexpr int kCompletedInputFrame = 0x916;
constexpr int kCompletedInputFrameNewer = 0x90014;
constexpr int kSecondFieldMerged = 0x915;

// One node of the simulated card, opened by the library itself.
class CardDriver : public Driver {
public:
    CardDriver(SimulatedCard& c, Generation generation) : card(c), isNewer(generation == Generation::VantorixIO)
    {
        NodeConfig config = isNewer ? NodeConfig::io(0) : NodeConfig::dv(0);
        // The completed-frame fix-up tells the driver with a plain pointer to
        // the 160-byte record, not an argument block.
        config.rawRequests[kSecondFieldMerged] = sizeof(QuorvaleCompletedInputFrameRec);
        name = card.addNode(config);
        QuorvaleDeviceNode node{};
        std::strncpy(node.namePrefix, isNewer ? "io" : "dv", sizeof node.namePrefix - 1);
        node.unitNumber = 0;
        device = QuorvaleOpenDevice(&node);
        EXPECT_NE(device, nullptr);
        card.clearRequests();
    }
    ~CardDriver() override { CloseDriverConnectionCore(device); }

    QuorvaleInstanceRec* rec() override { return device; }
    bool newer() const override { return isNewer; }

    void answer(const CallRow& row, bool fail) override
    {
        Reply reply = fail ? Reply::failing(EIO) : Reply{};
        reply.scalars = row.replyScalars;
        reply.structure = row.replyStruct;
        card.update(name, [&](NodeConfig& c) {
            if (isNewer && row.route.isMessage())
                c.messageReplies[row.route.code] = reply;
            else
                c.replies[static_cast<unsigned long>(expectedRequest(*this, row))] = reply;
        });
    }

    void answerRequest(unsigned long request, const Reply& reply)
    {
        card.update(name, [&](NodeConfig& c) { c.replies[request] = reply; });
    }

    std::vector<Seen> take() override
    {
        std::vector<Seen> out;
        for (const simcard::Request& r : card.requestsFor(name)) {
            Seen s;
            s.request = int(r.request);
            s.scalarInputCount = r.scalarInputCount;
            s.structInputSize = r.structInputSize;
            s.scalarOutputCount = r.scalarOutputCount;
            s.structOutputSize = r.structOutputSize;
            s.scalarInputs = r.scalarInputs;
            s.structInput = r.structInput;
            s.message = r.message;
            s.code = r.messageCode;
            s.messageScalars = r.messageScalars;
            s.raw = r.raw;
            s.rawBytes = r.rawBytes;
            out.push_back(s);
        }
        card.clearRequests();
        return out;
    }

    SimulatedCard& card;
    bool isNewer;
    std::string name;
    QuorvaleInstanceRec* device = nullptr;
};

class VideoAudioOnCard : public ::testing::TestWithParam<Generation> {
protected:
    void SetUp() override { ASSERT_TRUE(SimulatedCard::emulationActive()); }

    SimulatedCard card;
    CardDriver driver{card, GetParam()};
};

std::string generationName(const ::testing::TestParamInfo<Generation>& info)
{
    return info.param == Generation::VantorixIO ? "VantorixIO" : "Quorvale";
}

// ---- The call table ----------------------------------------------------------

TEST_P(VideoAudioOnCard, EveryCallOfTheTable)
{
    for (const CallRow& row : callTable())
        checkRow(driver, row);
}

// ---- Records built by the calls ---------------------------------------------

TEST_P(VideoAudioOnCard, PlaybackStartIs24BytesWithMinusOne) { checkPlaybackStart(driver); }
TEST_P(VideoAudioOnCard, WriteSamplesIs32Bytes) { checkWriteSamples(driver); }
TEST_P(VideoAudioOnCard, ReadSamplesIs40BytesInAnd16Out) { checkReadSamples(driver); }
TEST_P(VideoAudioOnCard, CompletedPlaybackFramesCountOf3Offers48Bytes) { checkCompletedPlaybackFrames(driver); }
TEST_P(VideoAudioOnCard, FlushedInputFramesByteCountIsUnscaled) { checkFlushedInputFrames(driver); }
TEST_P(VideoAudioOnCard, StopScheduledPlaybackRecombines64Bits) { checkStopRecombination(driver); }

TEST_P(VideoAudioOnCard, ScheduleFrameSendsTheDescriptorByteForByte)
{
    CallRow row = rowNamed("HardwareScheduleFrame");
    driver.answer(row, false);
    QuorvaleFrameDescriptor frame;
    const std::vector<uint8_t> bytes = pattern(sizeof frame, 9);
    std::memcpy(&frame, bytes.data(), sizeof frame);
    uint32_t result = 0;
    ASSERT_EQ(HardwareScheduleFrame(driver.rec(), &frame, &result), 0);
    const Seen s = onlyRequest(driver);
    EXPECT_EQ(s.structInput, bytes);
    EXPECT_EQ(result, 0x89ABCDEFu);
}

// ---- The completed input frame ------------------------------------------------

// A captured frame in this process's memory and the record the driver
// returns for it.
struct CapturedFrame {
    static constexpr uint32_t kRowBytes = 16;
    static constexpr uint32_t kAncillaryRowBytes = 24;
    static constexpr uint32_t kAncillaryLines = 12;

    uint32_t height;
    std::vector<uint8_t> memory;       // picture, then the ancillary area
    std::vector<uint8_t> secondField;  // laid out like the picture
    QuorvaleCompletedInputFrameRec record{};

    explicit CapturedFrame(uint32_t rows)
        : height(rows), memory(rows * kRowBytes + kAncillaryLines * kAncillaryRowBytes),
          secondField((rows + 1) * kRowBytes)  // never empty: its address must not be 0
    {
        for (std::size_t k = 0; k < memory.size(); ++k)
            memory[k] = uint8_t(0x40 + k / kRowBytes);  // each picture row its own value
        for (std::size_t k = 0; k < secondField.size(); ++k)
            secondField[k] = uint8_t(0xA0 + k / kRowBytes);
        record.frameBuffer = reinterpret_cast<uintptr_t>(memory.data());
        record.frameIndex = 0x80000007;
        record.flags = 0;
        record.displayMode = 0x80000009;
        record.width = 4;
        record.height = rows;
        record.rowBytes = kRowBytes;
        record.pixelFormat = 0;  // differs from the ancillary format: no line copies
        record.ancillaryPixelFormat = kQuorvalePixelFormat2vuy;
        record.ancillaryRowBytes = kAncillaryRowBytes;
        record.ancillaryLineCount = kAncillaryLines;
        record.lineIndex[0] = record.lineIndex[1] = record.lineIndex[2] = -1;
        record.streamTime = 0x1122334455667788ULL;
        record.hardwareTime = 0x8877665544332211ULL;
        for (uint32_t k = 0; k < 6; ++k)
            record.timecode[k] = 0x90000000u + k;
    }
    void withSecondField() { record.secondFieldBuffer = reinterpret_cast<uintptr_t>(secondField.data()); }
    std::vector<uint8_t> bytes() const
    {
        std::vector<uint8_t> out(sizeof record);
        std::memcpy(out.data(), &record, sizeof record);
        return out;
    }
    const uint8_t* row(uint32_t k) const { return memory.data() + k * kRowBytes; }
    const uint8_t* ancillaryLine(uint32_t k) const
    {
        return memory.data() + height * kRowBytes + k * kAncillaryRowBytes;
    }
    // The untouched contents of a picture row / an ancillary line.
    std::vector<uint8_t> original(std::size_t offset, std::size_t size) const
    {
        std::vector<uint8_t> out(size);
        for (std::size_t k = 0; k < size; ++k)
            out[k] = uint8_t(0x40 + (offset + k) / kRowBytes);
        return out;
    }
    std::vector<uint8_t> originalRow(uint32_t k) const { return original(k * kRowBytes, kRowBytes); }
    std::vector<uint8_t> originalLine(uint32_t k) const
    {
        return original(height * kRowBytes + k * kAncillaryRowBytes, kAncillaryRowBytes);
    }
    std::vector<uint8_t> secondFieldRow(uint32_t k) const
    {
        return {secondField.begin() + k * kRowBytes, secondField.begin() + (k + 1) * kRowBytes};
    }
};

std::vector<uint8_t> rowAt(const uint8_t* p, std::size_t size) { return {p, p + size}; }

class CompletedInputFrameOnCard : public VideoAudioOnCard {
protected:
    // Scripts the record, makes the call with every output, returns its status.
    int fetch(const CapturedFrame& frame)
    {
        driver.answerRequest(driver.newer() ? kCompletedInputFrameNewer : kCompletedInputFrame,
                             Reply::bytes(frame.bytes()));
        driver.take();
        return HardwareGetCompletedInputFrame(driver.rec(), &frameBuffer, &frameIndex, &flags, &displayMode,
                                              &pixelFormat, &rowBytes, &height, timecode, &streamTime,
                                              &hardwareTime, &ancillary);
    }
    std::vector<Seen> secondFieldNotices(const std::vector<Seen>& seen) const
    {
        std::vector<Seen> out;
        for (const Seen& s : seen) {
            if (s.request == kSecondFieldMerged)
                out.push_back(s);
        }
        return out;
    }

    void* frameBuffer = nullptr;
    uint32_t frameIndex = 0, flags = 0, displayMode = 0, pixelFormat = 0, rowBytes = 0, height = 0;
    uint32_t timecode[6] = {};
    uint64_t streamTime = 0, hardwareTime = 0;
    QuorvaleAncillaryDescription ancillary{};
};

TEST_P(CompletedInputFrameOnCard, AsksForThe160ByteRecordAndFillsEveryOutput)
{
    CapturedFrame frame(4);
    frame.record.firstBlankOffset = 3;
    frame.record.secondBlankCount = 0;
    frame.record.secondBlankOffset = 2;
    ASSERT_EQ(fetch(frame), 0);
    const std::vector<Seen> seen = driver.take();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].request, driver.newer() ? kCompletedInputFrameNewer : kCompletedInputFrame);
    EXPECT_EQ(seen[0].structOutputSize, 160u);
    EXPECT_EQ(seen[0].scalarInputCount, 0u);
    EXPECT_EQ(seen[0].structInputSize, 0u);

    EXPECT_EQ(frameBuffer, frame.memory.data());
    EXPECT_EQ(frameIndex, 0x80000007u);
    EXPECT_EQ(flags, 0u);
    EXPECT_EQ(displayMode, 0x80000009u);
    EXPECT_EQ(pixelFormat, 0u);
    EXPECT_EQ(rowBytes, 16u);
    EXPECT_EQ(height, 4u);
    for (uint32_t k = 0; k < 6; ++k)
        EXPECT_EQ(timecode[k], 0x90000000u + k);
    EXPECT_EQ(streamTime, 0x1122334455667788ULL);
    EXPECT_EQ(hardwareTime, 0x8877665544332211ULL);
    EXPECT_EQ(ancillary.data, frame.memory.data() + 4 * 16);  // just past the picture
    EXPECT_EQ(ancillary.rowBytes, 24u);
    EXPECT_EQ(ancillary.pixelFormat, uint32_t(kQuorvalePixelFormat2vuy));
    EXPECT_EQ(ancillary.lineCount, 12u);
    EXPECT_EQ(ancillary.firstBlankOffset, 3u);
    EXPECT_EQ(ancillary.secondBlankOffset, 2u);
}

TEST_P(CompletedInputFrameOnCard, NullOutputsAreSkipped)
{
    CapturedFrame frame(2);
    driver.answerRequest(driver.newer() ? kCompletedInputFrameNewer : kCompletedInputFrame,
                         Reply::bytes(frame.bytes()));
    EXPECT_EQ(HardwareGetCompletedInputFrame(driver.rec(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                             nullptr, nullptr, nullptr, nullptr, nullptr),
              0);
}

TEST_P(CompletedInputFrameOnCard, FailingRequestWritesNothingAndTouchesNoFrame)
{
    CapturedFrame frame(4);
    frame.withSecondField();
    driver.answerRequest(driver.newer() ? kCompletedInputFrameNewer : kCompletedInputFrame,
                         Reply::failing(EIO));
    const std::vector<uint8_t> before = frame.memory;
    frameIndex = 0x55;
    EXPECT_EQ(HardwareGetCompletedInputFrame(driver.rec(), &frameBuffer, &frameIndex, &flags, &displayMode,
                                             &pixelFormat, &rowBytes, &height, timecode, &streamTime,
                                             &hardwareTime, &ancillary),
              -1);
    EXPECT_EQ(frameIndex, 0x55u);
    EXPECT_EQ(frameBuffer, nullptr);
    EXPECT_EQ(frame.memory, before);
    EXPECT_TRUE(secondFieldNotices(driver.take()).empty());
}

TEST_P(CompletedInputFrameOnCard, SecondFieldGoesToEvenRowsFromRowZero)
{
    CapturedFrame frame(4);
    frame.withSecondField();
    ASSERT_EQ(fetch(frame), 0);
    EXPECT_EQ(rowAt(frame.row(0), 16), frame.secondFieldRow(0));
    EXPECT_EQ(rowAt(frame.row(1), 16), frame.originalRow(1));
    EXPECT_EQ(rowAt(frame.row(2), 16), frame.secondFieldRow(2));
    EXPECT_EQ(rowAt(frame.row(3), 16), frame.originalRow(3));
    EXPECT_EQ(rowAt(frame.ancillaryLine(0), 24), frame.originalLine(0));  // nothing past the picture
}

TEST_P(CompletedInputFrameOnCard, SecondFieldGoesToOddRowsWithFlag16)
{
    CapturedFrame frame(4);
    frame.withSecondField();
    frame.record.flags = 16;
    ASSERT_EQ(fetch(frame), 0);
    EXPECT_EQ(rowAt(frame.row(0), 16), frame.originalRow(0));
    EXPECT_EQ(rowAt(frame.row(1), 16), frame.secondFieldRow(1));
    EXPECT_EQ(rowAt(frame.row(2), 16), frame.originalRow(2));
    EXPECT_EQ(rowAt(frame.row(3), 16), frame.secondFieldRow(3));
    EXPECT_EQ(rowAt(frame.ancillaryLine(0), 24), frame.originalLine(0));
}

// height / 2 rows: an odd height leaves its last row alone.
TEST_P(CompletedInputFrameOnCard, OddHeightMergesHeightOverTwoRows)
{
    CapturedFrame frame(5);
    frame.withSecondField();
    ASSERT_EQ(fetch(frame), 0);
    EXPECT_EQ(rowAt(frame.row(0), 16), frame.secondFieldRow(0));
    EXPECT_EQ(rowAt(frame.row(2), 16), frame.secondFieldRow(2));
    EXPECT_EQ(rowAt(frame.row(4), 16), frame.originalRow(4));
}

TEST_P(CompletedInputFrameOnCard, SecondFieldIsAnnouncedWithTheRecordItself)
{
    CapturedFrame frame(4);
    frame.withSecondField();
    ASSERT_EQ(fetch(frame), 0);
    const std::vector<Seen> notices = secondFieldNotices(driver.take());
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_TRUE(notices[0].raw);
    EXPECT_EQ(notices[0].rawBytes, frame.bytes());
}

// Height 0 and 1 leave no row to merge; the driver still hears of it.
TEST_P(CompletedInputFrameOnCard, HeightZeroAndOneCopyNothingButStillTellTheDriver)
{
    for (uint32_t rows : {0u, 1u}) {
        SCOPED_TRACE(rows);
        CapturedFrame frame(rows);
        frame.withSecondField();
        frame.record.flags = rows == 0 ? 0 : 16;
        const std::vector<uint8_t> before = frame.memory;
        ASSERT_EQ(fetch(frame), 0);
        EXPECT_EQ(frame.memory, before);
        EXPECT_EQ(secondFieldNotices(driver.take()).size(), 1u);
    }
    CapturedFrame single(1);
    single.withSecondField();
    ASSERT_EQ(fetch(single), 0);
    EXPECT_EQ(rowAt(single.row(0), 16), single.originalRow(0));
}

TEST_P(CompletedInputFrameOnCard, NoSecondFieldBufferNoNoticeAndPictureUntouched)
{
    CapturedFrame frame(4);
    frame.record.flags = 16;
    const std::vector<uint8_t> before = frame.memory;
    ASSERT_EQ(fetch(frame), 0);
    EXPECT_EQ(frame.memory, before);
    EXPECT_TRUE(secondFieldNotices(driver.take()).empty());
}

struct BlackOf {
    uint32_t format;
    uint32_t first;
    uint32_t second;
};

// Lines 0; 3, 4; 7 of the ancillary area (count 1 from 0, count 2 from the
// first offset 3, count 1 from 3 + 4), with the ancillary line stride, in
// the ancillary format; every other line keeps its bytes.
TEST_P(CompletedInputFrameOnCard, BlanksTheThreeAncillaryRangesPerPixelFormat)
{
    const BlackOf blacks[] = {
        {kQuorvalePixelFormat2vuy, 0x10801080, 0x10801080}, {kQuorvalePixelFormatV210, 0x20010200, 0x04080040},
        {kQuorvalePixelFormat32, 0xFF, 0xFF},               {kQuorvalePixelFormatBGRA, 0xFF, 0xFF},
        {kQuorvalePixelFormatR210, 0x40000104, 0x40000104}, {kQuorvalePixelFormatR12B, 0, 0},
        {kQuorvalePixelFormatR12L, 0, 0},
    };
    for (const BlackOf& black : blacks) {
        SCOPED_TRACE(black.format);
        CapturedFrame frame(2);
        frame.record.ancillaryPixelFormat = black.format;
        frame.record.pixelFormat = 0x11111111;  // another format: no line copies
        frame.record.firstBlankCount = 1;
        frame.record.firstBlankOffset = 3;
        frame.record.secondBlankCount = 2;
        frame.record.secondBlankOffset = 4;
        frame.record.thirdBlankCount = 1;
        ASSERT_EQ(fetch(frame), 0);
        for (uint32_t line = 0; line < CapturedFrame::kAncillaryLines; ++line) {
            SCOPED_TRACE(line);
            const std::vector<uint8_t> got = rowAt(frame.ancillaryLine(line), 24);
            if (line == 0 || line == 3 || line == 4 || line == 7) {
                for (uint32_t pair = 0; pair < 3; ++pair) {
                    uint32_t w[2];
                    std::memcpy(w, got.data() + 8 * pair, 8);
                    EXPECT_EQ(w[0], black.first);
                    EXPECT_EQ(w[1], black.second);
                }
            } else {
                EXPECT_EQ(got, frame.originalLine(line));
            }
        }
        EXPECT_EQ(rowAt(frame.row(0), 16), frame.originalRow(0));
        EXPECT_EQ(rowAt(frame.row(1), 16), frame.originalRow(1));
    }
}

TEST_P(CompletedInputFrameOnCard, ZeroCountsAndUnknownFormatsBlankNothing)
{
    CapturedFrame zero(2);
    zero.record.firstBlankOffset = 3;
    zero.record.secondBlankOffset = 4;
    std::vector<uint8_t> before = zero.memory;
    ASSERT_EQ(fetch(zero), 0);
    EXPECT_EQ(zero.memory, before);

    CapturedFrame unknown(2);
    unknown.record.ancillaryPixelFormat = 0x79757632;
    unknown.record.firstBlankCount = 2;
    before = unknown.memory;
    ASSERT_EQ(fetch(unknown), 0);
    EXPECT_EQ(unknown.memory, before);
}

// Equal formats: ancillary line index i (at frame + (i + height) * rowBytes,
// the picture's row bytes) over picture row k; a negative index is skipped.
// Blanking comes first, so a blanked line is copied as black.
TEST_P(CompletedInputFrameOnCard, EqualFormatsCopyAncillaryLinesOverTheFirstRows)
{
    CapturedFrame frame(4);
    frame.record.pixelFormat = kQuorvalePixelFormat2vuy;
    frame.record.ancillaryPixelFormat = kQuorvalePixelFormat2vuy;
    frame.record.firstBlankCount = 1;  // ancillary line 0 (24 bytes) becomes black
    frame.record.lineIndex[0] = 3;
    frame.record.lineIndex[1] = -1;
    frame.record.lineIndex[2] = 0;
    const std::vector<uint8_t> source3 = frame.originalRow(4 + 3);  // picture stride, not ancillary
    ASSERT_EQ(fetch(frame), 0);
    EXPECT_EQ(rowAt(frame.row(0), 16), source3);
    EXPECT_EQ(rowAt(frame.row(1), 16), frame.originalRow(1));
    const std::vector<uint8_t> black = rowAt(frame.ancillaryLine(0), 16);
    EXPECT_EQ(rowAt(frame.row(2), 16), black);
    uint32_t w[2];
    std::memcpy(w, black.data(), 8);
    EXPECT_EQ(w[0], 0x10801080u);
    EXPECT_EQ(rowAt(frame.row(3), 16), frame.originalRow(3));
}

// Any index with the 16-bit sign bit set is negative, however large.
TEST_P(CompletedInputFrameOnCard, SixteenBitNegativeIndexesAreSkipped)
{
    CapturedFrame frame(4);
    frame.record.pixelFormat = frame.record.ancillaryPixelFormat = kQuorvalePixelFormatV210;
    frame.record.lineIndex[0] = int16_t(0x8001);
    frame.record.lineIndex[1] = -32768;
    frame.record.lineIndex[2] = 1;
    ASSERT_EQ(fetch(frame), 0);
    EXPECT_EQ(rowAt(frame.row(0), 16), frame.originalRow(0));
    EXPECT_EQ(rowAt(frame.row(1), 16), frame.originalRow(1));
    EXPECT_EQ(rowAt(frame.row(2), 16), frame.originalRow(4 + 1));
}

TEST_P(CompletedInputFrameOnCard, DifferentFormatsCopyNoLines)
{
    CapturedFrame frame(4);
    frame.record.pixelFormat = kQuorvalePixelFormat2vuy;
    frame.record.ancillaryPixelFormat = kQuorvalePixelFormatV210;
    frame.record.lineIndex[0] = 0;
    frame.record.lineIndex[1] = 1;
    frame.record.lineIndex[2] = 2;
    const std::vector<uint8_t> before = frame.memory;
    ASSERT_EQ(fetch(frame), 0);
    EXPECT_EQ(frame.memory, before);
}

// The second field is merged before the lines are copied over rows 0 to 2.
TEST_P(CompletedInputFrameOnCard, SecondFieldMergeComesBeforeLineCopies)
{
    CapturedFrame frame(4);
    frame.withSecondField();
    frame.record.pixelFormat = frame.record.ancillaryPixelFormat = kQuorvalePixelFormat2vuy;
    frame.record.lineIndex[0] = 1;
    ASSERT_EQ(fetch(frame), 0);
    EXPECT_EQ(rowAt(frame.row(0), 16), frame.originalRow(4 + 1));
    EXPECT_EQ(rowAt(frame.row(2), 16), frame.secondFieldRow(2));
}

INSTANTIATE_TEST_SUITE_P(Generations, VideoAudioOnCard,
                         ::testing::Values(Generation::Quorvale, Generation::VantorixIO), generationName);
INSTANTIATE_TEST_SUITE_P(Generations, CompletedInputFrameOnCard,
                         ::testing::Values(Generation::Quorvale, Generation::VantorixIO), generationName);

}  // namespace
