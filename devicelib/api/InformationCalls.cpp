// The calls that identify and describe a device.
#include <cstdint>

#include "CallShapes.h"
#include "QuorvaleInformation.h"
#include "QuorvaleInstanceRec.h"

using namespace quorvale;

namespace {

const unsigned kHardwareDescriptionBytes = 104;
const unsigned kSerialPortDescriptionBytes = 65;
const char kDefaultModelName[] = "Quorvale";
const int kNotSupported = 1;

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
    unsigned long long* v = wide.values;
    return readScalars(rec, req, &v[0], &v[1], &v[2], &v[3]);
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
    return readWord(rec, req::GetDriverSharedDataStructureVersion, version);
}

int GetHardwareDescription(QuorvaleInstanceRec* rec, void* description)
{
    return readBytes(rec, req::GetHardwareDescription, description, kHardwareDescriptionBytes);
}

int GetSerialPortDescription(QuorvaleInstanceRec* rec, char* description)
{
    return readBytes(rec, req::GetSerialPortDescription, description, kSerialPortDescriptionBytes);
}

int VantorixGetDeviceInfo(QuorvaleInstanceRec* rec, uint32_t* deviceInfo, uint32_t* modelIndex)
{
    return readScalars(rec, req::VantorixGetDeviceInfo, deviceInfo, modelIndex);
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
    return readScalars(rec, req::GetSubDeviceInfo, subDeviceIndex, subDeviceCount, parentDeviceId);
}

int GetQuorvaleFirmwareVersion(QuorvaleInstanceRec* rec, uint32_t* first, uint32_t* second)
{
    return readScalars(rec, req::GetQuorvaleFirmwareVersion, first, second);
}

int IsQuorvaleHardwareUsable(QuorvaleInstanceRec* rec, uint32_t* usable)
{
    return readWord(rec, req::IsQuorvaleHardwareUsable, usable);
}

int GetQuorvalePersistentIdentifier(QuorvaleInstanceRec* rec, uint32_t* id)
{
    return readWord(rec, req::GetQuorvalePersistentIdentifier, id);
}

int GetQuorvaleTopologicalIdentifier(QuorvaleInstanceRec* rec, uint32_t* id)
{
    return readWord(rec, req::GetQuorvaleTopologicalIdentifier, id);
}

int GetQuorvaleDeviceBusyState(QuorvaleInstanceRec* rec, uint32_t* state)
{
    // An open instance always has a transport: only the arguments are checked.
    if (rec == nullptr || state == nullptr)
        return kQuorvaleBadArgument;
    return rec->transport->readScalar(req::GetQuorvaleDeviceBusyState, state);
}

int VantorixGetNumSupportedAudioChannels(QuorvaleInstanceRec* rec, uint32_t* count)
{
    return readWord(rec, req::VantorixGetNumSupportedAudioChannels, count);
}

int GetTimerCount(QuorvaleInstanceRec* rec, uint64_t* count)
{
    return readScalars(rec, req::GetTimerCount, count);
}

int GetCurrentVideoInputInterruptTimestamp(QuorvaleInstanceRec* rec, uint32_t* count,
                                           uint64_t* timestamp, uint32_t* extra)
{
    Wide v{};
    const int status = readFour(rec, req::GetCurrentVideoInputInterruptTimestamp, v);
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
    const int status = readFour(rec, req::GetCurrentScheduledFrameTime, v);
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
    const int status = readWord(rec, req::GetCurrentScheduledFrameID, &value);
    if (status == 0)
        *id = uint8_t(value);
    return status;
}

int GetDefaultVideoOutputMode(QuorvaleInstanceRec* rec, uint32_t* mode)
{
    return readWord(rec, req::GetDefaultVideoOutputMode, mode);
}

int SetDefaultVideoOutputMode(QuorvaleInstanceRec* rec, uint32_t mode)
{
    return writeWord(rec, req::SetDefaultVideoOutputMode, mode);
}

int GetVideoOutputHostApplicationTag(QuorvaleInstanceRec* rec, uint32_t* tag)
{
    return readWord(rec, req::GetVideoOutputHostApplicationTag, tag);
}

int SetVideoOutputHostApplicationTag(QuorvaleInstanceRec* rec, uint32_t tag)
{
    return writeWord(rec, req::SetVideoOutputHostApplicationTag, tag);
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
