// Black for the pixel formats the cards capture and play.
#include <cstring>

#include "QuorvaleVideoAudio.h"

namespace {

// Black as a pair of 32-bit words, written in the process's byte order.
struct BlackPair {
    uint32_t pixelFormat;
    uint32_t first;
    uint32_t second;
};

constexpr BlackPair kBlackValues[] = {
    {kQuorvalePixelFormat2vuy, 0x10801080, 0x10801080},
    {kQuorvalePixelFormatV210, 0x20010200, 0x04080040},
    {kQuorvalePixelFormat32, 0x000000FF, 0x000000FF},
    {kQuorvalePixelFormatBGRA, 0x000000FF, 0x000000FF},
    {kQuorvalePixelFormatR210, 0x40000104, 0x40000104},
    {kQuorvalePixelFormatR12B, 0, 0},
    {kQuorvalePixelFormatR12L, 0, 0},
};

const BlackPair* blackFor(uint32_t pixelFormat)
{
    for (const BlackPair& black : kBlackValues) {
        if (black.pixelFormat == pixelFormat)
            return &black;
    }
    return nullptr;
}

}  // namespace

// Whole pairs only: a tail shorter than eight bytes keeps its contents.
void BlackOutBuffer(void* buffer, uint32_t byteCount, uint32_t pixelFormat)
{
    const BlackPair* black = blackFor(pixelFormat);
    if (black == nullptr)
        return;
    auto* out = static_cast<unsigned char*>(buffer);
    for (uint32_t pair = 0; pair < byteCount / 8; ++pair, out += 8) {
        std::memcpy(out, &black->first, 4);
        std::memcpy(out + 4, &black->second, 4);
    }
}
