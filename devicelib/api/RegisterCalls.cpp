// FPGA registers, API notifications, 3D packing, alpha blending, the idle
// output operation and status information.
#include "QuorvaleMaintenance.h"

#include "CallShapes.h"

using namespace quorvale;

extern "C" {

int Set3dPackingFormat(QuorvaleInstanceRec* rec, uint32_t format)
{
    return writeWord(rec, req::Set3dPackingFormat, format);
}

int Get3dPackingFormat(QuorvaleInstanceRec* rec, uint32_t* format)
{
    return readWord(rec, req::Get3dPackingFormat, format);
}

int GetAPINotification(QuorvaleInstanceRec* rec, void* buffer, uint32_t* size)
{
    if (size == nullptr)
        return kQuorvaleBadArgument;
    return readRecords<1>(rec, req::GetAPINotification, buffer, size);
}

int PostAPINotification(QuorvaleInstanceRec* rec, const void* notification, uint32_t size)
{
    return writeBytes(rec, req::PostAPINotification, notification, size);
}

int ReadFPGARegister(QuorvaleInstanceRec* rec, uint32_t address, uint32_t* value)
{
    return exchangeScalars(rec, req::ReadFPGARegister, inputs(address), value);
}

int WriteFPGARegister(QuorvaleInstanceRec* rec, uint32_t address, uint32_t value)
{
    return writeScalars(rec, req::WriteFPGARegister, address, value);
}

int SetAlphaBlendModeOn(QuorvaleInstanceRec* rec, uint32_t mode)
{
    return writeWord(rec, req::SetAlphaBlendModeOn, mode);
}

int SetAlphaBlendModeOff(QuorvaleInstanceRec* rec)
{
    return bareRequest(rec, req::SetAlphaBlendModeOff);
}

int SetGlobalAlphaLevel(QuorvaleInstanceRec* rec, uint32_t level)
{
    return writeWord(rec, req::SetGlobalAlphaLevel, level);
}

int PerformBlendRampUp(QuorvaleInstanceRec* rec, uint32_t duration)
{
    return writeWord(rec, req::PerformBlendRampUp, duration);
}

int PerformBlendRampDown(QuorvaleInstanceRec* rec, uint32_t duration)
{
    return writeWord(rec, req::PerformBlendRampDown, duration);
}

int SetAutoBlendSettings(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d)
{
    return writeScalars(rec, req::SetAutoBlendSettings, a, b, c, d);
}

int SetQuorvaleIdleVideoOutputOperation(QuorvaleInstanceRec* rec, uint32_t operation)
{
    return writeWord(rec, req::SetQuorvaleIdleVideoOutputOperation, operation);
}

int GetQuorvaleIdleVideoOutputOperation(QuorvaleInstanceRec* rec, uint32_t* operation)
{
    return readWord(rec, req::GetQuorvaleIdleVideoOutputOperation, operation);
}

int SetAudioMeterMode(QuorvaleInstanceRec* rec, uint32_t mode)
{
    return writeWord(rec, req::SetAudioMeterMode, mode);
}

int GetStatusInfo(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d,
                  uint32_t* first, uint32_t* second, uint32_t* third)
{
    return exchangeScalars(rec, req::GetStatusInfo, inputs(a, b, c, d), first, second, third);
}

}  // extern "C"
