#include "FakeDriver.h"

#include <cstdarg>
#include <cstring>

namespace fakedriver {
namespace {

Reply g_reply;
Request g_requests[kMaxRequests];
std::size_t g_count = 0;

std::size_t inputLength(const IoctlBlockHeader& h)
{
    return sizeof h + std::size_t{8} * h.scalarInputCount + h.structInputSize;
}

void setIfScripted(uint32_t& word, long long scripted)
{
    if (scripted >= 0)
        word = static_cast<uint32_t>(scripted);
}

int handle(int fd, unsigned long number, uint8_t* block)
{
    IoctlBlockHeader header;
    std::memcpy(&header, block, sizeof header);

    Request& r = g_requests[g_count % kMaxRequests];
    ++g_count;
    r.fd = fd;
    r.number = number;
    r.blockAddress = reinterpret_cast<std::uintptr_t>(block);
    r.header = header;
    r.inputLength = inputLength(header);
    std::memcpy(r.input, block, r.inputLength < kMaxBlock ? r.inputLength : kMaxBlock);

    uint8_t* room = block + r.inputLength;
    const std::size_t roomLength = std::size_t{8} * header.scalarOutputCount + header.structOutputSize;
    // Whatever the driver does not answer holds a known pattern, so a reader
    // that looks in the wrong place sees it; a failing driver may still have
    // touched the block.
    std::memset(room, kScribble, roomLength);
    if (g_reply.status != 0)
        return g_reply.status;

    setIfScripted(header.scalarInputCount, g_reply.scalarInputCount);
    setIfScripted(header.structInputSize, g_reply.structInputSize);
    setIfScripted(header.scalarOutputCount, g_reply.scalarOutputCount);
    setIfScripted(header.structOutputSize, g_reply.structOutputSize);
    std::memcpy(block, &header, sizeof header);

    uint8_t* out = block + inputLength(header);
    std::memcpy(out, g_reply.scalars, std::size_t{8} * header.scalarOutputCount);
    out += std::size_t{8} * header.scalarOutputCount;
    std::memcpy(out, g_reply.structure, header.structOutputSize);
    return 0;
}

}  // namespace

uint64_t Request::inputScalar(std::size_t i) const
{
    uint64_t value;
    std::memcpy(&value, input + sizeof(IoctlBlockHeader) + 8 * i, sizeof value);
    return value;
}

const uint8_t* Request::inputStruct() const
{
    return input + sizeof(IoctlBlockHeader) + std::size_t{8} * header.scalarInputCount;
}

void reset()
{
    g_reply = Reply{};
    g_count = 0;
}

Reply& reply()
{
    return g_reply;
}

std::size_t requestCount()
{
    return g_count;
}

const Request& request(std::size_t index)
{
    return g_requests[index % kMaxRequests];
}

const Request& lastRequest()
{
    return g_requests[(g_count + kMaxRequests - 1) % kMaxRequests];
}

}  // namespace fakedriver

// Binds the library's ioctl calls in this test binary to the fake driver.
extern "C" int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list list;
    va_start(list, request);
    auto* block = static_cast<uint8_t*>(va_arg(list, void*));
    va_end(list);
    return fakedriver::handle(fd, request, block);
}
