// Every call that goes to the descriptor without the transport, as data: the
// request number (the same on both driver generations), the bytes the driver
// finds behind the plain pointer it receives, and what a driver answer written
// back through that pointer becomes for the caller.
#ifndef MAINTENANCE_DIRECT_CALL_TABLE_H
#define MAINTENANCE_DIRECT_CALL_TABLE_H

#include <cstdint>
#include <functional>
#include <vector>

#include "TransportCallTable.h"

namespace maintenance_test {

// A 16384-byte lookup table that stays put for the whole test run.
const uint8_t* lookupTable();
uint32_t lookupTableAddress();  // as the driver record carries it

struct DirectRow {
    const char* name;
    unsigned long request;
    bool hasArgument;               // false: the pointer is null
    std::vector<uint8_t> argument;  // the bytes pointed at when the call is made
    bool isGet;                     // a null output gives 1 without a call
    std::function<int(QuorvaleInstanceRec*, Outputs&)> invoke;
    std::function<int(QuorvaleInstanceRec*)> invokeWithNullOutput;  // Get rows only
    // Calls that read: the caller's view after the driver wrote `answer()`
    // over the argument. Null for calls that only hand the driver data.
    std::function<void(const Outputs&)> expectAnswered;
};

// What the simulated driver writes back over a readable argument: its
// length's worth of this pattern (a first word of 0x100, non-zero but with a
// zero low byte, then counting bytes).
std::vector<uint8_t> answer(std::size_t size);

std::vector<DirectRow> directRows();

}  // namespace maintenance_test

#endif
