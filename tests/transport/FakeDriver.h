// A scripted stand-in for the kernel driver. The test binary defines ioctl()
// itself, so the transport's one system call lands here: every request is
// recorded (number, block address, header, the bytes the caller put in) and
// answered from the script. No heap is used, so allocation counting can run
// through it.
#ifndef VANTORIX_TESTS_FAKE_DRIVER_H
#define VANTORIX_TESTS_FAKE_DRIVER_H

#include <cstddef>
#include <cstdint>

#include "IoctlArguments.h"

namespace fakedriver {

constexpr std::size_t kMaxBlock = 8192;
constexpr std::size_t kMaxRequests = 8;
constexpr uint8_t kScribble = 0xEE;

struct Request {
    int fd;
    unsigned long number;
    std::uintptr_t blockAddress;
    IoctlBlockHeader header;  // as the caller sent it
    std::size_t inputLength;  // header plus input scalars and structure
    uint8_t input[kMaxBlock];

    // The input scalars and structure the caller sent.
    uint64_t inputScalar(std::size_t i) const;
    const uint8_t* inputStruct() const;
};

struct Reply {
    int status = 0;  // non-zero: returned as is, after scribbling on the output room
    // Header words the driver writes back; negative keeps what the caller sent.
    long long scalarInputCount = -1;
    long long structInputSize = -1;
    long long scalarOutputCount = -1;
    long long structOutputSize = -1;
    uint64_t scalars[16] = {};     // the output scalars, as many as the header says
    uint8_t structure[kMaxBlock] = {};  // the output structure, as many bytes as the header says
};

// Forget every request and script a plain successful driver.
void reset();
Reply& reply();
std::size_t requestCount();
const Request& request(std::size_t index);
const Request& lastRequest();

}  // namespace fakedriver

#endif
