// Maintenance and display requests that go to the descriptor with a plain
// pointer argument, bypassing the transport: neither driver generation wraps
// them in an argument block, so the newer one receives them untranslated too.
#include "QuorvaleMaintenance.h"

#include <sys/ioctl.h>

#include <cstdint>

#include "MaintenanceRecords.h"
#include "QuorvaleInstanceRec.h"
#include "Requests.h"

using namespace quorvale;

namespace {

// The one ioctl; its result (0, or -1 on failure) is the status.
int direct(QuorvaleInstanceRec* rec, int request, const void* argument)
{
    if (rec == nullptr)
        return kQuorvaleBadArgument;
    return ioctl(rec->fd, request, argument);
}

// Set: the driver reads the value through its address.
int setValue(QuorvaleInstanceRec* rec, int request, uint32_t value)
{
    return direct(rec, request, &value);
}

// Get: the driver writes straight into the caller's output.
int getValue(QuorvaleInstanceRec* rec, int request, uint32_t* out)
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
int readLookupTable(QuorvaleInstanceRec* rec, int request, Record record, uint8_t* enable)
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
    return direct(rec, req::GetDeviceUSBConnectionProperties, properties);
}

int ForceDeviceToUSB2(QuorvaleInstanceRec* rec)
{
    return direct(rec, req::ForceDeviceToUSB2, nullptr);
}

int SetBypassState(QuorvaleInstanceRec* rec, uint32_t state)
{
    return setValue(rec, req::SetBypassState, state);
}

int GetBypassState(QuorvaleInstanceRec* rec, uint32_t* state)
{
    return getValue(rec, req::GetBypassState, state);
}

int ReadOEMPromSegment(QuorvaleInstanceRec* rec, void* segment)
{
    return direct(rec, req::ReadOEMPromSegment, segment);
}

int WriteOEMPromSegment(QuorvaleInstanceRec* rec, const void* segment)
{
    return direct(rec, req::WriteOEMPromSegment, segment);
}

int SetAudioMeterBrightness(QuorvaleInstanceRec* rec, uint32_t brightness)
{
    return setValue(rec, req::SetAudioMeterBrightness, brightness);
}

int SetDVIOutputScaleToFitScreen(QuorvaleInstanceRec* rec, uint32_t on)
{
    return setValue(rec, req::SetDVIOutputScaleToFitScreen, on);
}

int GetDVIOutputScaleToFitScreen(QuorvaleInstanceRec* rec, uint32_t* on)
{
    return getValue(rec, req::GetDVIOutputScaleToFitScreen, on);
}

int SetDVIOutputSDScaling(QuorvaleInstanceRec* rec, uint32_t scaling)
{
    return setValue(rec, req::SetDVIOutputSDScaling, scaling);
}

int GetDVIOutputSDScaling(QuorvaleInstanceRec* rec, uint32_t* scaling)
{
    return getValue(rec, req::GetDVIOutputSDScaling, scaling);
}

int SetDVIOutputScaleIllegalYUV(QuorvaleInstanceRec* rec, uint32_t on)
{
    return setValue(rec, req::SetDVIOutputScaleIllegalYUV, on);
}

int GetDVIOutputScaleIllegalYUV(QuorvaleInstanceRec* rec, uint32_t* on)
{
    return getValue(rec, req::GetDVIOutputScaleIllegalYUV, on);
}

int SetDVIOutputForceEDIDOverride(QuorvaleInstanceRec* rec, uint32_t on)
{
    return setValue(rec, req::SetDVIOutputForceEDIDOverride, on);
}

int GetDVIOutputForceEDIDOverride(QuorvaleInstanceRec* rec, uint32_t* on)
{
    return getValue(rec, req::GetDVIOutputForceEDIDOverride, on);
}

int SetDVIOutputInterlaceSimulation(QuorvaleInstanceRec* rec, uint32_t on)
{
    return setValue(rec, req::SetDVIOutputInterlaceSimulation, on);
}

int GetDVIOutputInterlaceSimulation(QuorvaleInstanceRec* rec, uint32_t* on)
{
    return getValue(rec, req::GetDVIOutputInterlaceSimulation, on);
}

int SetDVIOutputBlueOnly(QuorvaleInstanceRec* rec, uint32_t on)
{
    return setValue(rec, req::SetDVIOutputBlueOnly, on);
}

int GetDVIOutputBlueOnly(QuorvaleInstanceRec* rec, uint32_t* on)
{
    return getValue(rec, req::GetDVIOutputBlueOnly, on);
}

int WriteConfigurationRegister(QuorvaleInstanceRec* rec, uint32_t value)
{
    return setValue(rec, req::WriteConfigurationRegister, value);
}

int ReadConfigurationRegister(QuorvaleInstanceRec* rec, uint32_t* value)
{
    return getValue(rec, req::ReadConfigurationRegister, value);
}

int Write3DVideoOutputLookupTable(QuorvaleInstanceRec* rec, uint8_t enable, const void* table,
                                  uint32_t size)
{
    if (rec == nullptr || size != k3DLookupTableSize)
        return kQuorvaleBadArgument;
    const LookupTable3DRec record{enable, tableAddress(table)};
    return direct(rec, req::Write3DVideoOutputLookupTable, &record);
}

int Read3DVideoOutputLookupTable(QuorvaleInstanceRec* rec, uint8_t* enable, void* table,
                                 uint32_t size)
{
    if (rec == nullptr || size != k3DLookupTableSize)
        return kQuorvaleBadArgument;
    return readLookupTable(rec, req::Read3DVideoOutputLookupTable, LookupTable3DRec{0, tableAddress(table)}, enable);
}

int Write1DVideoOutputLookupTable(QuorvaleInstanceRec* rec, uint8_t enable, uint32_t a, uint32_t b,
                                  uint32_t c)
{
    const LookupTable1DRec record{enable, a, b, c};
    return direct(rec, req::Write1DVideoOutputLookupTable, &record);
}

int Read1DVideoOutputLookupTable(QuorvaleInstanceRec* rec, uint8_t* enable, uint32_t a, uint32_t b,
                                 uint32_t c)
{
    return readLookupTable(rec, req::Read1DVideoOutputLookupTable, LookupTable1DRec{0, a, b, c}, enable);
}

int SetLowSpeedFanOperation(QuorvaleInstanceRec* rec, uint8_t on)
{
    return setValue(rec, req::SetLowSpeedFanOperation, on);
}

int GetLowSpeedFanOperation(QuorvaleInstanceRec* rec, uint32_t* on)
{
    return getValue(rec, req::GetLowSpeedFanOperation, on);
}

int AudioInputSelectStereoChannelPair(QuorvaleInstanceRec* rec, uint32_t pair)
{
    return setValue(rec, req::AudioInputSelectStereoChannelPair, pair);
}

int AudioOutputGetAvailableSampleSpace(QuorvaleInstanceRec* rec, uint32_t* space)
{
    return getValue(rec, req::AudioOutputGetAvailableSampleSpace, space);
}

int InsertVideoInputSyncMarker(QuorvaleInstanceRec* rec, uint32_t marker)
{
    return setValue(rec, req::InsertVideoInputSyncMarker, marker);
}

int ReinitialiseQuorvaleHardware(QuorvaleInstanceRec* rec, uint32_t mode)
{
    return setValue(rec, req::ReinitialiseQuorvaleHardware, mode);
}

}  // extern "C"
