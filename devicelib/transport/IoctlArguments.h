// The in-memory description of one driver request, handed to
// IoctlMessageUser::call, and the block the driver receives.
#ifndef QUORVALE_IOCTL_ARGUMENTS_H
#define QUORVALE_IOCTL_ARGUMENTS_H

#include <cstdint>

#include "QuorvaleMaintenance.h"

struct IoctlArguments {
    uint32_t scalarInputCount;
    uint32_t structInputSize;
    uint32_t scalarOutputCount;  // in: capacity; out: count the driver returned
    uint32_t structOutputSize;   // in: capacity; out: size the driver returned
    const uint64_t* scalarInput;
    const void* structInput;
    uint64_t* scalarOutput;
    void* structOutput;
};
// Eight 32-bit words in the product's 32-bit process.
static_assert(sizeof(void*) != 4 || sizeof(IoctlArguments) == 32, "eight 32-bit words");

// Header of the driver argument block; scalars and structures follow it.
struct IoctlBlockHeader {
    uint32_t scalarInputCount;
    uint32_t structInputSize;
    uint32_t scalarOutputCount;
    uint32_t structOutputSize;
};
static_assert(sizeof(IoctlBlockHeader) == 16, "driver block header is 16 bytes");

// The newer driver's message records are the ones callers build and hand to
// SendMessageRequest / SendBufferMessageRequest: one definition, in the public
// header, exchanged in place without a copy.
using _VantorixIOMessageRequest = QuorvaleMessageRequestRec;
using _VantorixIOBufferMessageRequest = QuorvaleBufferMessageRequestRec;
static_assert(sizeof(_VantorixIOMessageRequest) == 40, "message record is 40 bytes");
static_assert(sizeof(_VantorixIOBufferMessageRequest) == 1064, "buffer message is 1064 bytes");

#endif
