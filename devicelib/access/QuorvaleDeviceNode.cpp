#include "QuorvaleDeviceNode.h"

#include <cstdio>
#include <cstring>

#include "QuorvaleInstanceRec.h"

namespace {
const char kDeviceDirectory[] = "/dev/vantorix/";
const size_t kMaxPrefixLength = 14;
}  // namespace

const DeviceNameMapping kDeviceNameMappings[3] = {
    {"dv", "Quorvale"},
    {"card", "Quorvale"},
    {"io", "VantorixIO"},
};

QuorvaleDeviceNode& QuorvaleDeviceNode::operator=(const QuorvaleDeviceNode& other)
{
    // strncpy on purpose: the source's zero fill carries over.
    strncpy(namePrefix, other.namePrefix, sizeof namePrefix);
    unitNumber = other.unitNumber;
    return *this;
}

bool QuorvaleDeviceNode::hasTerminatedPrefix() const
{
    return memchr(namePrefix, '\0', sizeof namePrefix) != nullptr;
}

// The comparisons below stop after the 15 prefix bytes: for a terminated
// prefix that is plain strcmp, and an unterminated one is never read past.
int QuorvaleDeviceNode::driverNameIndex() const
{
    for (int row = 0; row < 3; ++row) {
        if (strncmp(namePrefix, kDeviceNameMappings[row].nodePrefix, sizeof namePrefix) == 0)
            return row;
    }
    return -1;
}

const char* QuorvaleDeviceNode::driverName() const
{
    const int row = driverNameIndex();
    return row < 0 ? nullptr : kDeviceNameMappings[row].driverName;
}

const char* QuorvaleDeviceNode::driverNameByIndex(int index)
{
    return kDeviceNameMappings[index].nodePrefix;
}

bool QuorvaleDeviceNode::operator==(const QuorvaleDeviceNode& other) const
{
    return unitNumber == other.unitNumber && strncmp(namePrefix, other.namePrefix, sizeof namePrefix) == 0;
}

bool QuorvaleDeviceNode::operator<(const QuorvaleDeviceNode& other) const
{
    const int order = strncmp(namePrefix, other.namePrefix, sizeof namePrefix);
    if (order != 0)
        return order < 0;
    return unitNumber < other.unitNumber;
}

bool QuorvaleDeviceNode::toPath(char* buffer) const
{
    if (!hasTerminatedPrefix())
        return false;
    return sprintf(buffer, "/dev/vantorix/%s%u", namePrefix, unsigned(unitNumber)) > 0;
}

bool QuorvaleDeviceNode::fromPath(const char* path)
{
    // Only a name inside the device directory is a node: a path elsewhere, or
    // a name with a further '/' ("../x0"), would lead an open out of it.
    if (strncmp(path, kDeviceDirectory, sizeof kDeviceDirectory - 1) != 0)
        return false;
    const char* name = path + (sizeof kDeviceDirectory - 1);
    if (strchr(name, '/') != nullptr)
        return false;
    size_t prefixLength = 0;
    while (name[prefixLength] != '\0' && (name[prefixLength] < '0' || name[prefixLength] > '9'))
        ++prefixLength;

    // %hhu wraps numbers above 255 modulo 256, as unit numbers do.
    if (sscanf(name + prefixLength, "%hhu", &unitNumber) != 1)
        return false;
    if (prefixLength > kMaxPrefixLength)
        return false;

    memset(namePrefix, 0, sizeof namePrefix);
    memcpy(namePrefix, name, prefixLength);
    return true;
}

bool QuorvaleDeviceNode::fromInstance(const QuorvaleInstanceRec* instance)
{
    unitNumber = uint8_t(instance->unitNumber);
    memset(namePrefix, 0, sizeof namePrefix);
    // First match wins: a device opened through "card" is reported as "dv".
    for (const DeviceNameMapping& row : kDeviceNameMappings) {
        if (instance->driverName && strcmp(row.driverName, instance->driverName) == 0) {
            memcpy(namePrefix, row.nodePrefix, strlen(row.nodePrefix));
            return true;
        }
    }
    return false;
}
