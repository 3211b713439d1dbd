// Runs rows of the call table against a driver that records what reached it:
// a recording transport (no device) or a simulated card of either driver
// generation.
#ifndef VIDEOAUDIO_TABLE_RUNNER_H
#define VIDEOAUDIO_TABLE_RUNNER_H

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

#include "CallTable.h"

namespace videoaudio {

// One request as the driver saw it.
struct Seen {
    int request = 0;
    uint32_t scalarInputCount = 0;
    uint32_t structInputSize = 0;
    uint32_t scalarOutputCount = 0;  // offered
    uint32_t structOutputSize = 0;   // offered
    std::vector<uint64_t> scalarInputs;
    std::vector<uint8_t> structInput;
    bool message = false;
    uint32_t code = 0;
    std::array<uint64_t, 4> messageScalars{};
    bool raw = false;
    std::vector<uint8_t> rawBytes;
};

class Driver {
public:
    virtual ~Driver() = default;
    virtual QuorvaleInstanceRec* rec() = 0;
    virtual bool newer() const = 0;  // the "VantorixIO" generation
    // Scripts the answer to the request `row` sends: its reply, or a failure.
    virtual void answer(const CallRow& row, bool fail) = 0;
    virtual std::vector<Seen> take() = 0;  // what reached the driver since the last take
};

// The request number a row's call must reach this driver with.
inline int expectedRequest(const Driver& d, const CallRow& row)
{
    return d.newer() ? row.route.request : row.legacy;
}

inline void checkRow(Driver& d, const CallRow& row)
{
    SCOPED_TRACE(row.name + (d.newer() ? " on VantorixIO" : " on Quorvale"));
    d.take();

    d.answer(row, false);
    Sink sink;
    EXPECT_EQ(row.invoke(d.rec(), sink), 0);
    std::vector<Seen> seen = d.take();
    ASSERT_EQ(seen.size(), 1u);
    const Seen& s = seen[0];
    EXPECT_EQ(s.request, expectedRequest(d, row));
    if (d.newer() && row.route.isMessage()) {
        EXPECT_TRUE(s.message);
        EXPECT_EQ(s.code, row.route.code);
        ASSERT_LE(row.scalarsIn.size(), 4u);
        const std::vector<uint64_t> front(s.messageScalars.begin(),
                                          s.messageScalars.begin() + long(row.scalarsIn.size()));
        EXPECT_EQ(front, row.scalarsIn);
    } else {
        EXPECT_FALSE(s.message);
        EXPECT_EQ(s.scalarInputCount, row.scalarsIn.size());
        EXPECT_EQ(s.scalarInputs, row.scalarsIn);
        EXPECT_EQ(s.structInputSize, row.structIn);
        EXPECT_EQ(s.structInput.size(), row.structIn);
        EXPECT_EQ(s.scalarOutputCount, row.scalarsOut);
        EXPECT_EQ(s.structOutputSize, row.structOut);
    }
    EXPECT_EQ(row.outputs(sink), row.expected);

    // A failing request leaves every output as it was.
    d.answer(row, true);
    Sink untouched;
    EXPECT_EQ(row.invoke(d.rec(), untouched), -1);
    EXPECT_TRUE(untouched == Sink()) << "an output was written on failure";
    seen = d.take();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].request, expectedRequest(d, row));
}

}  // namespace videoaudio

#endif
