// Node paths and node records: fromPath, toPath and the comparisons, on any
// text and on any sixteen bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "QuorvaleDeviceNode.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string path(reinterpret_cast<const char*>(data), size);
    QuorvaleDeviceNode parsed{};
    if (parsed.fromPath(path.c_str())) {
        char rebuilt[64];
        if (!parsed.toPath(rebuilt))
            __builtin_trap();
        QuorvaleDeviceNode again{};
        if (!again.fromPath(rebuilt) || !(again == parsed))
            __builtin_trap();
        parsed.driverNameIndex();
    }

    // Any two records, as the shared segment may hold them.
    if (size >= 2 * sizeof(QuorvaleDeviceNode)) {
        QuorvaleDeviceNode a, b;
        memcpy(static_cast<void*>(&a), data, sizeof a);
        memcpy(static_cast<void*>(&b), data + sizeof a, sizeof b);
        const bool less = a < b, greater = b < a;
        if (less && greater)
            __builtin_trap();
        if ((a == b) && (less || greater))
            __builtin_trap();
        char text[64];
        if (a.toPath(text) != a.hasTerminatedPrefix())
            __builtin_trap();
        a.driverName();
        QuorvaleDeviceNode copy;
        copy = b;
        copy.driverNameIndex();
    }
    return 0;
}
