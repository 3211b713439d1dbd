// The calls that identify and describe a device.
#include <cstdint>

#include "CallShapes.h"
#include "QuorvaleInformation.h"
#include "QuorvaleInstanceRec.h"

using quorvale::readScalars;
using quorvale::withTransport;

namespace {

enum Request : int {
    kSharedDataStructureVersion = 0x10000,
    kHardwareDescription = 0x990,
    kSerialPortDescription = 0x9E0,
    kDeviceInfo = 0x940,
    kSubDeviceInfo = 0x99A,
    kFirmwareVersion = 0x996,
    kHardwareUsable = 0x994,
    kPersistentIdentifier = 0x992,
    kTopologicalIdentifier = 0x99E,
    kDeviceBusyState = 0x99D,
    kSupportedAudioChannels = 0x999,
    kTimerCount = 0x993,
    kVideoInputInterruptTimestamp = 0x91B,
    kScheduledFrameTime = 0x90C,
    kScheduledFrameID = 0x91F,
    kGetDefaultVideoOutputMode = 0xA02,
    kSetDefaultVideoOutputMode = 0xA03,
    kGetHostApplicationTag = 0x91D,
    kSetHostApplicationTag = 0x91C,
};

const unsigned kHardwareDescriptionBytes = 104;
const unsigned kSerialPortDescriptionBytes = 65;
const char kDefaultModelName[] = "Quorvale";
const int kNotSupported = 1;

// The transport writes the caller's output itself.
int readWord(QuorvaleInstanceRec* rec, int req, uint32_t* out)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.readScalar(req, out); });
}

int writeWord(QuorvaleInstanceRec* rec, int req, uint32_t value)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.writeScalar(req, unsigned(value)); });
}

int readBytes(QuorvaleInstanceRec* rec, int req, void* out, unsigned size)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.readStruct(req, out, &size); });
}

// Four values, two of which form one 64-bit value (high word first).
struct Wide {
    unsigned long long values[4];
    uint64_t joined(int high) const
    {
        return uint64_t(values[high] << 32 | values[high + 1]);
    }
};

int readFour(QuorvaleInstanceRec* rec, int req, Wide& wide)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.readScalar(req, wide.values, 4); });
}

template <typename T>
void store(T* out, T value)
{
    if (out != nullptr)
        *out = value;
}

}  // namespace

extern "C" {

int GetDriverSharedDataStructureVersion(QuorvaleInstanceRec* rec, uint32_t* version)
{
    return readWord(rec, kSharedDataStructureVersion, version);
}

int GetHardwareDescription(QuorvaleInstanceRec* rec, void* description)
{
    return readBytes(rec, kHardwareDescription, description, kHardwareDescriptionBytes);
}

int GetSerialPortDescription(QuorvaleInstanceRec* rec, char* description)
{
    return readBytes(rec, kSerialPortDescription, description, kSerialPortDescriptionBytes);
}

int VantorixGetDeviceInfo(QuorvaleInstanceRec* rec, uint32_t* deviceInfo, uint32_t* modelIndex)
{
    return readScalars(rec, kDeviceInfo, deviceInfo, modelIndex);
}

int GetModelName(QuorvaleInstanceRec* rec, const char** name)
{
    // The output always holds a valid name, whatever happens next.
    *name = kDefaultModelName;
    uint32_t modelIndex = 0;
    const int status = VantorixGetDeviceInfo(rec, nullptr, &modelIndex);
    if (status == 0 && modelIndex >= 1 && modelIndex < kVantorixDeviceTableRows)
        *name = gVantorixDeviceTable[modelIndex].modelName;
    return status;
}

int GetSubDeviceInfo(QuorvaleInstanceRec* rec, uint32_t* subDeviceIndex, uint32_t* subDeviceCount,
                     uint32_t* parentDeviceId)
{
    return readScalars(rec, kSubDeviceInfo, subDeviceIndex, subDeviceCount, parentDeviceId);
}

int GetQuorvaleFirmwareVersion(QuorvaleInstanceRec* rec, uint32_t* first, uint32_t* second)
{
    return readScalars(rec, kFirmwareVersion, first, second);
}

int IsQuorvaleHardwareUsable(QuorvaleInstanceRec* rec, uint32_t* usable)
{
    return readWord(rec, kHardwareUsable, usable);
}

int GetQuorvalePersistentIdentifier(QuorvaleInstanceRec* rec, uint32_t* id)
{
    return readWord(rec, kPersistentIdentifier, id);
}

int GetQuorvaleTopologicalIdentifier(QuorvaleInstanceRec* rec, uint32_t* id)
{
    return readWord(rec, kTopologicalIdentifier, id);
}

int GetQuorvaleDeviceBusyState(QuorvaleInstanceRec* rec, uint32_t* state)
{
    // An open instance always has a transport: only the arguments are checked.
    if (rec == nullptr || state == nullptr)
        return kQuorvaleBadArgument;
    return rec->transport->readScalar(kDeviceBusyState, state);
}

int VantorixGetNumSupportedAudioChannels(QuorvaleInstanceRec* rec, uint32_t* count)
{
    return readWord(rec, kSupportedAudioChannels, count);
}

int GetTimerCount(QuorvaleInstanceRec* rec, uint64_t* count)
{
    return withTransport(rec, [&](IoctlMessageUser& t) {
        unsigned long long value = 0;
        const int status = t.readScalar(kTimerCount, &value, 1);
        if (status == 0)
            *count = value;
        return status;
    });
}

int GetCurrentVideoInputInterruptTimestamp(QuorvaleInstanceRec* rec, uint32_t* count,
                                           uint64_t* timestamp, uint32_t* extra)
{
    Wide v{};
    const int status = readFour(rec, kVideoInputInterruptTimestamp, v);
    if (status == 0) {
        store(count, uint32_t(v.values[0]));
        store(timestamp, v.joined(1));
        store(extra, uint32_t(v.values[3]));
    }
    return status;
}

int GetCurrentScheduledFrameTime(QuorvaleInstanceRec* rec, uint64_t* time, uint32_t* second,
                                 uint32_t* third)
{
    Wide v{};
    const int status = readFour(rec, kScheduledFrameTime, v);
    if (status == 0) {
        store(time, v.joined(0));
        store(second, uint32_t(v.values[2]));
        store(third, uint32_t(v.values[3]));
    }
    return status;
}

int GetCurrentScheduledFrameID(QuorvaleInstanceRec* rec, uint8_t* id)
{
    uint32_t value = 0;
    const int status = readWord(rec, kScheduledFrameID, &value);
    if (status == 0)
        *id = uint8_t(value);
    return status;
}

int GetDefaultVideoOutputMode(QuorvaleInstanceRec* rec, uint32_t* mode)
{
    return readWord(rec, kGetDefaultVideoOutputMode, mode);
}

int SetDefaultVideoOutputMode(QuorvaleInstanceRec* rec, uint32_t mode)
{
    return writeWord(rec, kSetDefaultVideoOutputMode, mode);
}

int GetVideoOutputHostApplicationTag(QuorvaleInstanceRec* rec, uint32_t* tag)
{
    return readWord(rec, kGetHostApplicationTag, tag);
}

int SetVideoOutputHostApplicationTag(QuorvaleInstanceRec* rec, uint32_t tag)
{
    return writeWord(rec, kSetHostApplicationTag, tag);
}

int GetCurrentVideoOutputInterruptTimestamp(QuorvaleInstanceRec* rec, uint32_t* count,
                                            uint64_t* timestamp, uint32_t* extra)
{
    if (rec == nullptr)
        return kQuorvaleBadArgument;
    // The driver rewrites words 1 to 4 while we read; word 1 doubles as a
    // sequence number, so two equal readings around the others mean a
    // consistent record.
    const volatile uint32_t* area = rec->sharedData;
    uint32_t sequence, low, high, value, again;
    do {
        sequence = area[1];
        low = area[2];
        high = area[3];
        value = area[4];
        again = area[1];
    } while (sequence != again);
    store(count, again);
    store(timestamp, uint64_t(high) << 32 | low);
    store(extra, value);
    return kQuorvaleSuccess;
}

int GetAudioOutputBufferWrapCount(QuorvaleInstanceRec*, uint32_t*) { return kNotSupported; }

int GetAudioInputBufferWrapCount(QuorvaleInstanceRec*, uint32_t*) { return kNotSupported; }

}  // extern "C"
