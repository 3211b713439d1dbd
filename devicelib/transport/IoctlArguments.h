// The in-memory description of one driver request, handed to
// IoctlMessageUser::call, and the block the driver receives.
#ifndef QUORVALE_IOCTL_ARGUMENTS_H
#define QUORVALE_IOCTL_ARGUMENTS_H

#include <cstdint>

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

// Request record of the newer driver's generic message request.
struct _VantorixIOMessageRequest {
    uint32_t messageCode;
    uint32_t reserved;  // 0 on the way in; not examined on return
    uint64_t scalars[4];
};
static_assert(sizeof(_VantorixIOMessageRequest) == 40, "message record is 40 bytes");

// Buffer message: built by callers, forwarded in place.
struct _VantorixIOBufferMessageRequest {
    uint8_t bytes[1064];
};
static_assert(sizeof(_VantorixIOBufferMessageRequest) == 1064, "buffer message is 1064 bytes");

#endif
