// Every driver-request call of the playback, capture, audio and timing family
// as a row: what the caller passes, what must reach each driver generation,
// what the driver answers and what the caller must get back.
//
// Inputs carry the top bit (0x8000_00xx) so that zero extension (u32, u8)
// and sign extension (the signed gain deltas) give different 64-bit scalars.
#ifndef VIDEOAUDIO_CALL_TABLE_H
#define VIDEOAUDIO_CALL_TABLE_H

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "QuorvaleVideoAudio.h"

namespace videoaudio {

constexpr int kMessageRequest = 0x90001;

constexpr uint32_t fourcc(const char (&c)[5])
{
    return uint32_t(uint8_t(c[0])) << 24 | uint32_t(uint8_t(c[1])) << 16 | uint32_t(uint8_t(c[2])) << 8
           | uint32_t(uint8_t(c[3]));
}

// Where a legacy request goes on the newer driver: a new request number, or
// the message request with a code.
struct Route {
    int request = 0;
    uint32_t code = 0;
    static Route renumbered(int request) { return {request, 0}; }
    static Route message(const char (&c)[5]) { return {kMessageRequest, fourcc(c)}; }
    bool isMessage() const { return request == kMessageRequest; }
};

// Every output a call can write, preset to values no driver answer gives, so
// that "nothing written" is a comparison with a fresh Sink.
struct Sink {
    uint32_t u[4];
    int32_t i[4];
    uint8_t flag;
    uint64_t wide;
    uint32_t count;      // in: room in completion records
    uint32_t byteCount;  // in: room in bytes
    QuorvaleCompletionRec records[4];
    uint8_t bytes[128];

    Sink()
    {
        std::memset(static_cast<void*>(this), 0, sizeof *this);  // padding too: compared bytewise
        for (uint32_t& w : u)
            w = 0xDEADBEEF;
        for (int32_t& w : i)
            w = 0x5A5A5A5A;
        flag = 0x77;
        wide = 0x1111222233334444ULL;
        count = 3;
        byteCount = 100;
        std::memset(records, 0xEE, sizeof records);
        std::memset(bytes, 0xCC, sizeof bytes);
    }
    bool operator==(const Sink& o) const { return std::memcmp(this, &o, sizeof *this) == 0; }
};

struct CallRow {
    std::string name;
    int legacy = 0;
    Route route;
    std::vector<uint64_t> scalarsIn;  // exactly as they must reach the driver
    uint32_t structIn = 0;            // input structure size
    uint32_t scalarsOut = 0;          // output scalar capacity offered
    uint32_t structOut = 0;           // output structure capacity offered
    std::vector<uint64_t> replyScalars;
    std::vector<uint8_t> replyStruct;
    std::function<int(QuorvaleInstanceRec*, Sink&)> invoke;
    // What the caller got, and what it must get after the reply above.
    std::function<std::vector<uint64_t>(const Sink&)> outputs;
    std::vector<uint64_t> expected;
};

// The table: one row per call that sends a driver request.
const std::vector<CallRow>& callTable();

// The bytes a structure reply carries (a recognisable pattern).
std::vector<uint8_t> pattern(std::size_t size, uint8_t seed);

}  // namespace videoaudio

#endif
