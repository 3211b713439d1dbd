// Every transport call of the maintenance family as data: what the caller
// passes, what the request looks like at the transport (legacy number and
// argument shape), what the newer driver is sent instead, and which outputs a
// successful answer fills. Shared by the recording-transport tests and the
// simulated-card tests.
#ifndef MAINTENANCE_TRANSPORT_CALL_TABLE_H
#define MAINTENANCE_TRANSPORT_CALL_TABLE_H

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "QuorvaleMaintenance.h"

namespace maintenance_test {

// Everything a call may write, filled with a sentinel so that an untouched
// output is recognisable byte for byte.
struct Outputs {
    uint32_t word[4];
    uint8_t flag;
    double gain[4];
    uint8_t bytes[80];
    QuorvaleDriverStatisticsRec statistics;
    uint32_t size;  // in/out sizes start at 32

    Outputs()
    {
        std::memset(static_cast<void*>(this), 0xA5, sizeof *this);
        size = 32;
        for (unsigned i = 0; i < 24; ++i)
            reinterpret_cast<uint8_t*>(&statistics)[i] = static_cast<uint8_t>(0x40 + i);
    }
    bool untouched() const
    {
        const Outputs fresh;
        return std::memcmp(this, &fresh, sizeof fresh) == 0;
    }
};

// The scalars every simulated answer carries: distinct high halves (which
// the 32-bit outputs drop) and a first value whose low byte is 0 (which a
// truth-valued read must still report as 1).
inline const std::vector<uint64_t>& replyScalars()
{
    static const std::vector<uint64_t> reply{0x500000100ULL, 0x600000081ULL, 0x700000082ULL,
                                             0x800000083ULL};
    return reply;
}

inline std::vector<uint8_t> bytesOf(const void* p, std::size_t n)
{
    const auto* b = static_cast<const uint8_t*>(p);
    return std::vector<uint8_t>(b, b + n);
}

inline std::vector<uint8_t> counting(std::size_t n, uint8_t first = 0)
{
    std::vector<uint8_t> v(n);
    for (std::size_t i = 0; i < n; ++i)
        v[i] = static_cast<uint8_t>(first + i);
    return v;
}

// The request the newer driver receives instead of the legacy number.
struct Newer {
    int32_t request;       // renumbered request, or 0x90001 for a message
    uint32_t messageCode;  // 0 when renumbered
};

inline constexpr Newer renumbered(int32_t request)
{
    return {request, 0};
}

inline constexpr Newer message(const char (&c)[5])
{
    return {0x90001, uint32_t{static_cast<unsigned char>(c[0])} << 24 |
                         uint32_t{static_cast<unsigned char>(c[1])} << 16 |
                         uint32_t{static_cast<unsigned char>(c[2])} << 8 |
                         uint32_t{static_cast<unsigned char>(c[3])}};
}

struct TransportRow {
    const char* name;
    int legacy;
    Newer newer;
    std::vector<uint64_t> scalarsIn;
    std::vector<uint8_t> structIn;
    uint32_t scalarOutCount;  // capacity offered
    uint32_t structOutSize;   // capacity offered
    std::vector<uint8_t> replyStruct;  // what the driver answers in the structure
    std::function<int(QuorvaleInstanceRec*, Outputs&)> invoke;
    std::function<void(const Outputs&)> expectWritten;  // after the reply above
};

std::vector<TransportRow> transportRows();

inline std::string rowName(const TransportRow& row)
{
    return row.name;
}

}  // namespace maintenance_test

#endif
