// The translating transport's call() with any request, against a driver
// that answers honestly (never more than it was offered) with any bytes.
#include <sys/ioctl.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "IoctlMessageUser.h"
#include "VantorixIOIoctlMessageUser.h"

namespace {

const uint8_t* g_reply = nullptr;
size_t g_replySize = 0;

uint32_t take32(const uint8_t*& data, size_t& size)
{
    uint32_t value = 0;
    const size_t n = size < 4 ? size : 4;
    memcpy(&value, data, n);
    data += n;
    size -= n;
    return value;
}

}  // namespace

// The transport's one system call lands here.
extern "C" int ioctl(int, unsigned long, ...)
{
    va_list arguments;
    va_start(arguments, 0);
    auto* block = va_arg(arguments, unsigned char*);
    va_end(arguments);
    IoctlBlockHeader header;
    memcpy(&header, block, sizeof header);
    // Status first, then the counts it returns (each at most what it was offered).
    const uint8_t* reply = g_reply;
    size_t left = g_replySize;
    const uint32_t status = take32(reply, left);
    if (status % 8 == 0)
        return -1;
    const uint32_t outCount = header.scalarOutputCount ? take32(reply, left) % (header.scalarOutputCount + 1) : 0;
    const uint32_t outSize = header.structOutputSize ? take32(reply, left) % (header.structOutputSize + 1) : 0;
    unsigned char* out = block + sizeof header + 8ull * header.scalarInputCount + header.structInputSize;
    const size_t room = 8ull * header.scalarOutputCount + header.structOutputSize;
    for (size_t i = 0; i < room; ++i)
        out[i] = left ? reply[i % left] : 0;
    header.scalarOutputCount = outCount;
    header.structOutputSize = outSize;
    memcpy(block, &header, sizeof header);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const int req = int(take32(data, size));
    IoctlArguments args{};
    args.scalarInputCount = take32(data, size);
    args.structInputSize = take32(data, size);
    args.scalarOutputCount = take32(data, size);
    args.structOutputSize = take32(data, size);
    g_reply = data;
    g_replySize = size;

    // Buffers as large as the request says, when the transport would carry it;
    // otherwise none at all: a refused request must touch nothing.
    std::vector<uint64_t> scalarsIn, scalarsOut;
    std::vector<uint8_t> structIn, structOut;
    if (IoctlMessageUser::blockLength(args) <= IoctlMessageUser::kMaxBlockLength) {
        scalarsIn.assign(args.scalarInputCount, 0x1111111111111111ull);
        structIn.assign(args.structInputSize, 0x22);
        scalarsOut.resize(args.scalarOutputCount);
        structOut.resize(args.structOutputSize);
        args.scalarInput = scalarsIn.data();
        args.structInput = structIn.data();
        args.scalarOutput = scalarsOut.data();
        args.structOutput = structOut.data();
    }
    VantorixIOIoctlMessageUser translating(3);
    IoctlArguments copy = args;
    translating.call(req, &copy);
    IoctlMessageUser plain(3);
    copy = args;
    plain.call(req, &copy);
    return 0;
}
