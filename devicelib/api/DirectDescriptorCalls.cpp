// Maintenance and display requests that go to the descriptor with a plain
// pointer argument, bypassing the transport: neither driver generation wraps
// them in an argument block, so the newer one receives them untranslated too.
#include "QuorvaleMaintenance.h"

#include <sys/ioctl.h>

#include <cstdint>

#include "MaintenanceRecords.h"
#include "QuorvaleInstanceRec.h"

using namespace quorvale;

namespace {

enum DirectRequest : unsigned long {
    kSelectStereoChannelPair = 0x93C,
    kAvailableSampleSpace = 0x935,
    kInsertSyncMarker = 0x91A,
    kWrite1DLookupTable = 0x98A,
    kRead1DLookupTable = 0x98B,
    kWrite3DLookupTable = 0x98C,
    kRead3DLookupTable = 0x98D,
    kReinitialiseHardware = 0x995,
    kSetLowSpeedFan = 0x997,
    kGetLowSpeedFan = 0x998,
    kReadConfigurationRegister = 0x9A4,
    kWriteConfigurationRegister = 0x9A5,
    kGetDVIBlueOnly = 0x9C0,
    kSetDVIBlueOnly = 0x9C1,
    kGetDVIInterlaceSimulation = 0x9C2,
    kSetDVIInterlaceSimulation = 0x9C3,
    kGetDVIForceEDIDOverride = 0x9C4,
    kSetDVIForceEDIDOverride = 0x9C5,
    kGetDVIScaleIllegalYUV = 0x9C6,
    kSetDVIScaleIllegalYUV = 0x9C7,
    kGetDVISDScaling = 0x9C8,
    kSetDVISDScaling = 0x9C9,
    kGetDVIScaleToFitScreen = 0x9CA,
    kSetDVIScaleToFitScreen = 0x9CB,
    kSetAudioMeterBrightness = 0x9D3,
    kWriteOEMPromSegment = 0x9D5,
    kReadOEMPromSegment = 0x9D6,
    kForceUSB2 = 0x9E1,
    kUSBConnectionProperties = 0x9E2,
    kGetBypassState = 0xA00,
    kSetBypassState = 0xA01,
};

// The one ioctl; its result (0, or -1 on failure) is the status.
int direct(QuorvaleInstanceRec* rec, DirectRequest request, const void* argument)
{
    if (rec == nullptr)
        return kQuorvaleBadArgument;
    return ioctl(rec->fd, request, argument);
}

// Set: the driver reads the value through its address.
int setValue(QuorvaleInstanceRec* rec, DirectRequest request, uint32_t value)
{
    return direct(rec, request, &value);
}

// Get: the driver writes straight into the caller's output.
int getValue(QuorvaleInstanceRec* rec, DirectRequest request, uint32_t* out)
{
    if (rec == nullptr || out == nullptr)
        return kQuorvaleBadArgument;
    return direct(rec, request, out);
}

// The table's address as the driver's 32-bit field. The product is a 32-bit
// process, where this is the whole pointer; a 64-bit build sends its low half.
uint32_t tableAddress(const void* table)
{
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(table));
}

// Read variants: the driver answers in the record, enable is its first word.
template <typename Record>
int readLookupTable(QuorvaleInstanceRec* rec, DirectRequest request, Record record, uint8_t* enable)
{
    const int status = direct(rec, request, &record);
    if (status == 0 && enable != nullptr)
        *enable = record.enable != 0 ? 1 : 0;
    return status;
}

}  // namespace

extern "C" {

int GetDeviceUSBConnectionProperties(QuorvaleInstanceRec* rec, void* properties)
{
    return direct(rec, kUSBConnectionProperties, properties);
}

int ForceDeviceToUSB2(QuorvaleInstanceRec* rec)
{
    return direct(rec, kForceUSB2, nullptr);
}

int SetBypassState(QuorvaleInstanceRec* rec, uint32_t state)
{
    return setValue(rec, kSetBypassState, state);
}

int GetBypassState(QuorvaleInstanceRec* rec, uint32_t* state)
{
    return getValue(rec, kGetBypassState, state);
}

int ReadOEMPromSegment(QuorvaleInstanceRec* rec, void* segment)
{
    return direct(rec, kReadOEMPromSegment, segment);
}

int WriteOEMPromSegment(QuorvaleInstanceRec* rec, const void* segment)
{
    return direct(rec, kWriteOEMPromSegment, segment);
}

int SetAudioMeterBrightness(QuorvaleInstanceRec* rec, uint32_t brightness)
{
    return setValue(rec, kSetAudioMeterBrightness, brightness);
}

int SetDVIOutputScaleToFitScreen(QuorvaleInstanceRec* rec, uint32_t on)
{
    return setValue(rec, kSetDVIScaleToFitScreen, on);
}

int GetDVIOutputScaleToFitScreen(QuorvaleInstanceRec* rec, uint32_t* on)
{
    return getValue(rec, kGetDVIScaleToFitScreen, on);
}

int SetDVIOutputSDScaling(QuorvaleInstanceRec* rec, uint32_t scaling)
{
    return setValue(rec, kSetDVISDScaling, scaling);
}

int GetDVIOutputSDScaling(QuorvaleInstanceRec* rec, uint32_t* scaling)
{
    return getValue(rec, kGetDVISDScaling, scaling);
}

int SetDVIOutputScaleIllegalYUV(QuorvaleInstanceRec* rec, uint32_t on)
{
    return setValue(rec, kSetDVIScaleIllegalYUV, on);
}

int GetDVIOutputScaleIllegalYUV(QuorvaleInstanceRec* rec, uint32_t* on)
{
    return getValue(rec, kGetDVIScaleIllegalYUV, on);
}

int SetDVIOutputForceEDIDOverride(QuorvaleInstanceRec* rec, uint32_t on)
{
    return setValue(rec, kSetDVIForceEDIDOverride, on);
}

int GetDVIOutputForceEDIDOverride(QuorvaleInstanceRec* rec, uint32_t* on)
{
    return getValue(rec, kGetDVIForceEDIDOverride, on);
}

int SetDVIOutputInterlaceSimulation(QuorvaleInstanceRec* rec, uint32_t on)
{
    return setValue(rec, kSetDVIInterlaceSimulation, on);
}

int GetDVIOutputInterlaceSimulation(QuorvaleInstanceRec* rec, uint32_t* on)
{
    return getValue(rec, kGetDVIInterlaceSimulation, on);
}

int SetDVIOutputBlueOnly(QuorvaleInstanceRec* rec, uint32_t on)
{
    return setValue(rec, kSetDVIBlueOnly, on);
}

int GetDVIOutputBlueOnly(QuorvaleInstanceRec* rec, uint32_t* on)
{
    return getValue(rec, kGetDVIBlueOnly, on);
}

int WriteConfigurationRegister(QuorvaleInstanceRec* rec, uint32_t value)
{
    return setValue(rec, kWriteConfigurationRegister, value);
}

int ReadConfigurationRegister(QuorvaleInstanceRec* rec, uint32_t* value)
{
    return getValue(rec, kReadConfigurationRegister, value);
}

int Write3DVideoOutputLookupTable(QuorvaleInstanceRec* rec, uint8_t enable, const void* table,
                                  uint32_t size)
{
    if (rec == nullptr || size != k3DLookupTableSize)
        return kQuorvaleBadArgument;
    const LookupTable3DRec record{enable, tableAddress(table)};
    return direct(rec, kWrite3DLookupTable, &record);
}

int Read3DVideoOutputLookupTable(QuorvaleInstanceRec* rec, uint8_t* enable, void* table,
                                 uint32_t size)
{
    if (rec == nullptr || size != k3DLookupTableSize)
        return kQuorvaleBadArgument;
    return readLookupTable(rec, kRead3DLookupTable, LookupTable3DRec{0, tableAddress(table)}, enable);
}

int Write1DVideoOutputLookupTable(QuorvaleInstanceRec* rec, uint8_t enable, uint32_t a, uint32_t b,
                                  uint32_t c)
{
    const LookupTable1DRec record{enable, a, b, c};
    return direct(rec, kWrite1DLookupTable, &record);
}

int Read1DVideoOutputLookupTable(QuorvaleInstanceRec* rec, uint8_t* enable, uint32_t a, uint32_t b,
                                 uint32_t c)
{
    return readLookupTable(rec, kRead1DLookupTable, LookupTable1DRec{0, a, b, c}, enable);
}

int SetLowSpeedFanOperation(QuorvaleInstanceRec* rec, uint8_t on)
{
    return setValue(rec, kSetLowSpeedFan, on);
}

int GetLowSpeedFanOperation(QuorvaleInstanceRec* rec, uint32_t* on)
{
    return getValue(rec, kGetLowSpeedFan, on);
}

int AudioInputSelectStereoChannelPair(QuorvaleInstanceRec* rec, uint32_t pair)
{
    return setValue(rec, kSelectStereoChannelPair, pair);
}

int AudioOutputGetAvailableSampleSpace(QuorvaleInstanceRec* rec, uint32_t* space)
{
    return getValue(rec, kAvailableSampleSpace, space);
}

int InsertVideoInputSyncMarker(QuorvaleInstanceRec* rec, uint32_t marker)
{
    return setValue(rec, kInsertSyncMarker, marker);
}

int ReinitialiseQuorvaleHardware(QuorvaleInstanceRec* rec, uint32_t mode)
{
    return setValue(rec, kReinitialiseHardware, mode);
}

}  // extern "C"
