// The 16-byte name of one device node in /dev/vantorix, and the table that
// maps node prefixes to the driver that serves them.
#ifndef QUORVALE_DEVICE_NODE_H
#define QUORVALE_DEVICE_NODE_H

#include <cstdint>

#include "QuorvaleTypes.h"

struct DeviceNameMapping {
    const char* nodePrefix;
    const char* driverName;
};

// Row number = driver-name index; the discovery channel's presence bitmap
// depends on this order.
extern const DeviceNameMapping kDeviceNameMappings[3];

struct QuorvaleDeviceNode {
    // Written byte for byte into the cross-process discovery segment: no
    // virtuals, no gaps, fields in this order.
    char namePrefix[15];
    uint8_t unitNumber;

    QuorvaleDeviceNode() = default;
    QuorvaleDeviceNode(const QuorvaleDeviceNode& other) = default;
    QuorvaleDeviceNode& operator=(const QuorvaleDeviceNode& other);

    // A prefix is a NUL-terminated string within its 15 bytes; 15 bytes
    // without a NUL (as anyone may write into the shared segment) name no node.
    bool hasTerminatedPrefix() const;

    int driverNameIndex() const;
    const char* driverName() const;
    // Returns the *prefix* of row `index` (callers turn an index back into a
    // prefix with it). No bounds check: callers pass 0 to 2.
    static const char* driverNameByIndex(int index);

    bool operator==(const QuorvaleDeviceNode& other) const;
    bool operator<(const QuorvaleDeviceNode& other) const;

    // `buffer` must hold the directory, 14 prefix characters and 3 digits.
    // False for a prefix without NUL.
    bool toPath(char* buffer) const;
    // Only names in the device directory, without a further '/', parse.
    bool fromPath(const char* path);
    bool fromInstance(const QuorvaleInstanceRec* instance);
};

static_assert(sizeof(QuorvaleDeviceNode) == 16, "node layout is shared across processes");

#endif
