// Byte-level checks of the calls that build a record, run against any Driver.
#ifndef VIDEOAUDIO_RECORD_CHECKS_H
#define VIDEOAUDIO_RECORD_CHECKS_H

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>

#include "TableRunner.h"

namespace videoaudio {

inline CallRow rowNamed(const std::string& name)
{
    for (const CallRow& row : callTable()) {
        if (row.name == name)
            return row;
    }
    throw std::runtime_error("no row " + name);
}

inline uint32_t word32(const std::vector<uint8_t>& bytes, std::size_t offset)
{
    uint32_t v = 0;
    std::memcpy(&v, bytes.data() + offset, 4);
    return v;
}

inline uint64_t word64(const std::vector<uint8_t>& bytes, std::size_t offset)
{
    uint64_t v = 0;
    std::memcpy(&v, bytes.data() + offset, 8);
    return v;
}

inline Seen onlyRequest(Driver& d)
{
    std::vector<Seen> seen = d.take();
    EXPECT_EQ(seen.size(), 1u);
    return seen.empty() ? Seen{} : seen[0];
}

// a, b, c, d, then -1 (or the chosen field interrupt); the sixth word is not
// the library's, so it is not looked at.
inline void checkPlaybackStart(Driver& d)
{
    d.take();
    d.answer(rowNamed("HardwareStartScheduledPlayback"), false);
    ASSERT_EQ(HardwareStartScheduledPlayback(d.rec(), 0x80000001, 2, 0xFFFFFFFE, 4), 0);
    Seen s = onlyRequest(d);
    ASSERT_EQ(s.structInput.size(), 24u);
    EXPECT_EQ(word32(s.structInput, 0), 0x80000001u);
    EXPECT_EQ(word32(s.structInput, 4), 2u);
    EXPECT_EQ(word32(s.structInput, 8), 0xFFFFFFFEu);
    EXPECT_EQ(word32(s.structInput, 12), 4u);
    EXPECT_EQ(word32(s.structInput, 16), 0xFFFFFFFFu);
    EXPECT_EQ(s.scalarInputCount, 0u);
    EXPECT_EQ(s.structOutputSize, 0u);

    ASSERT_EQ(HardwareStartScheduledPlaybackAtFieldInterrupt(d.rec(), 5, 6, 7, 8, 1), 0);
    s = onlyRequest(d);
    ASSERT_EQ(s.structInput.size(), 24u);
    EXPECT_EQ(word32(s.structInput, 0), 5u);
    EXPECT_EQ(word32(s.structInput, 12), 8u);
    EXPECT_EQ(word32(s.structInput, 16), 1u);
}

// u64 a, u64 b (both zero-extended), then c, d, f, g; a 4-byte answer.
inline void checkWriteSamples(Driver& d)
{
    d.take();
    CallRow row = rowNamed("AudioOutputWriteSamples");
    row.replyStruct = {0x44, 0x33, 0x22, 0x11};
    d.answer(row, false);
    uint32_t result = 0;
    ASSERT_EQ(AudioOutputWriteSamples(d.rec(), 0x80000001, 0x90000002, 3, 4, &result, 0xA0000006, 7), 0);
    const Seen s = onlyRequest(d);
    ASSERT_EQ(s.structInput.size(), 32u);
    EXPECT_EQ(word64(s.structInput, 0), 0x0000000080000001ULL);
    EXPECT_EQ(word64(s.structInput, 8), 0x0000000090000002ULL);
    EXPECT_EQ(word32(s.structInput, 16), 3u);
    EXPECT_EQ(word32(s.structInput, 20), 4u);
    EXPECT_EQ(word32(s.structInput, 24), 0xA0000006u);
    EXPECT_EQ(word32(s.structInput, 28), 7u);
    EXPECT_EQ(s.structOutputSize, 4u);
    EXPECT_EQ(result, 0x11223344u);
    // A null result is skipped, the request still goes out.
    EXPECT_EQ(AudioOutputWriteSamples(d.rec(), 1, 2, 3, 4, nullptr, 6, 7), 0);
    EXPECT_EQ(d.take().size(), 1u);
}

// u64 a, b, the value at inOut, e; 16 bytes back: u64 time, count, final value.
inline void checkReadSamples(Driver& d)
{
    d.take();
    CallRow row = rowNamed("AudioInputReadSamples");
    row.replyStruct = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x88, 0x10, 0, 0, 0, 0x20, 0, 0, 0x80};
    d.answer(row, false);
    uint64_t time = 0;
    uint32_t count = 0;
    uint32_t inOut = 0x90000009;
    ASSERT_EQ(AudioInputReadSamples(d.rec(), 0x80000001, 2, &time, &count, &inOut, 0xB0000005), 0);
    const Seen s = onlyRequest(d);
    ASSERT_EQ(s.structInput.size(), 40u);
    EXPECT_EQ(word64(s.structInput, 0), 0x0000000080000001ULL);
    EXPECT_EQ(word32(s.structInput, 8), 2u);
    EXPECT_EQ(word32(s.structInput, 12), 0x90000009u);
    EXPECT_EQ(word32(s.structInput, 16), 0xB0000005u);
    EXPECT_EQ(s.structOutputSize, 16u);
    EXPECT_EQ(time, 0x8807060504030201ULL);
    EXPECT_EQ(count, 0x10u);
    EXPECT_EQ(inOut, 0x80000020u);

    // Every output is optional.
    EXPECT_EQ(AudioInputReadSamples(d.rec(), 1, 2, nullptr, nullptr, nullptr, 5), 0);
    EXPECT_EQ(d.take().size(), 1u);
}

// Records of 16 bytes: the count is scaled on the way in and back.
inline void checkCompletedPlaybackFrames(Driver& d)
{
    d.take();
    CallRow row = rowNamed("HardwareGetCompletedPlaybackFrames");
    row.replyStruct = pattern(40, 1);  // two and a half records
    d.answer(row, false);
    QuorvaleCompletionRec records[3];
    uint32_t count = 3;
    ASSERT_EQ(HardwareGetCompletedPlaybackFrames(d.rec(), records, &count), 0);
    const Seen s = onlyRequest(d);
    EXPECT_EQ(s.structOutputSize, 48u);
    EXPECT_EQ(s.structInputSize, 0u);
    EXPECT_EQ(s.scalarInputCount, 0u);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(std::memcmp(records, pattern(40, 1).data(), 40), 0);
}

// The byte count travels unscaled both ways.
inline void checkFlushedInputFrames(Driver& d)
{
    d.take();
    CallRow row = rowNamed("HardwareGetFlushedInputFrames");
    row.replyStruct = pattern(37, 2);
    d.answer(row, false);
    uint8_t buffer[64] = {};
    uint32_t size = 50;
    ASSERT_EQ(HardwareGetFlushedInputFrames(d.rec(), buffer, &size), 0);
    const Seen s = onlyRequest(d);
    EXPECT_EQ(s.structOutputSize, 50u);
    EXPECT_EQ(size, 37u);
    EXPECT_EQ(std::memcmp(buffer, pattern(37, 2).data(), 37), 0);
    EXPECT_EQ(buffer[37], 0);
}

// b sign-extended first, then a; (first << 32) | second on the full values.
inline void checkStopRecombination(Driver& d)
{
    d.take();
    CallRow row = rowNamed("HardwareStopScheduledPlayback");
    row.replyScalars = {0x12345678, 0x9ABCDEF0};
    d.answer(row, false);
    uint64_t stopTime = 0;
    ASSERT_EQ(HardwareStopScheduledPlayback(d.rec(), 0x80000000, -1, &stopTime), 0);
    Seen s = onlyRequest(d);
    const std::vector<uint64_t> in{0xFFFFFFFFFFFFFFFFULL, 0x0000000080000000ULL};
    if (s.message) {
        EXPECT_EQ(s.messageScalars[0], in[0]);
    } else {
        EXPECT_EQ(s.scalarInputs, in);
        EXPECT_EQ(s.scalarOutputCount, 2u);
    }
    EXPECT_EQ(stopTime, 0x123456789ABCDEF0ULL);

    // A high word in the second value is ORed in, not cut off.
    row.replyScalars = {0x1, 0x0000000200000003ULL};
    d.answer(row, false);
    ASSERT_EQ(HardwareStopScheduledPlayback(d.rec(), 1, 2, &stopTime), 0);
    EXPECT_EQ(stopTime, 0x0000000300000003ULL);
    // Without an output the request still goes out.
    EXPECT_EQ(HardwareStopScheduledPlayback(d.rec(), 1, 2, nullptr), 0);
    EXPECT_EQ(d.take().size(), 2u);
}

inline void checkAllRecords(Driver& d)
{
    {
        SCOPED_TRACE("playback start");
        checkPlaybackStart(d);
    }
    {
        SCOPED_TRACE("write samples");
        checkWriteSamples(d);
    }
    {
        SCOPED_TRACE("read samples");
        checkReadSamples(d);
    }
    {
        SCOPED_TRACE("completed playback frames");
        checkCompletedPlaybackFrames(d);
    }
    {
        SCOPED_TRACE("flushed input frames");
        checkFlushedInputFrames(d);
    }
    {
        SCOPED_TRACE("stop recombination");
        checkStopRecombination(d);
    }
}

}  // namespace videoaudio

#endif
