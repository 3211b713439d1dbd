// FPGA registers, API notifications, 3D packing, alpha blending, the idle
// output operation and status information.
#include "QuorvaleMaintenance.h"

#include "MaintenanceShapes.h"

using namespace quorvale;

extern "C" {

int Set3dPackingFormat(QuorvaleInstanceRec* rec, uint32_t format)
{
    return writeWord(rec, 0x99C, format);
}

int Get3dPackingFormat(QuorvaleInstanceRec* rec, uint32_t* format)
{
    return readWord(rec, 0x99B, format);
}

int GetAPINotification(QuorvaleInstanceRec* rec, void* buffer, uint32_t* size)
{
    if (size == nullptr)
        return kQuorvaleBadArgument;
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.readStruct(0x9F0, buffer, size); });
}

int PostAPINotification(QuorvaleInstanceRec* rec, const void* notification, uint32_t size)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.writeStruct(0x9F1, notification, size); });
}

int ReadFPGARegister(QuorvaleInstanceRec* rec, uint32_t address, uint32_t* value)
{
    return exchangeScalars(rec, 0x9A0, inputs(address), value);
}

int WriteFPGARegister(QuorvaleInstanceRec* rec, uint32_t address, uint32_t value)
{
    return writeScalars(rec, 0x9A1, address, value);
}

int SetAlphaBlendModeOn(QuorvaleInstanceRec* rec, uint32_t mode)
{
    return writeWord(rec, 0x9B0, mode);
}

int SetAlphaBlendModeOff(QuorvaleInstanceRec* rec)
{
    return callOnly(rec, 0x9B1);
}

int SetGlobalAlphaLevel(QuorvaleInstanceRec* rec, uint32_t level)
{
    return writeWord(rec, 0x9B2, level);
}

int PerformBlendRampUp(QuorvaleInstanceRec* rec, uint32_t duration)
{
    return writeWord(rec, 0x9B3, duration);
}

int PerformBlendRampDown(QuorvaleInstanceRec* rec, uint32_t duration)
{
    return writeWord(rec, 0x9B4, duration);
}

int SetAutoBlendSettings(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d)
{
    return writeScalars(rec, 0x9B5, a, b, c, d);
}

int SetQuorvaleIdleVideoOutputOperation(QuorvaleInstanceRec* rec, uint32_t operation)
{
    return writeWord(rec, 0x9D0, operation);
}

int GetQuorvaleIdleVideoOutputOperation(QuorvaleInstanceRec* rec, uint32_t* operation)
{
    return readWord(rec, 0x9D1, operation);
}

// Kept on the idle-operation request, written rather than read: this is what
// the drivers have always received for it.
int SetAudioMeterMode(QuorvaleInstanceRec* rec, uint32_t mode)
{
    return writeWord(rec, 0x9D1, mode);
}

int GetStatusInfo(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d,
                  uint32_t* first, uint32_t* second, uint32_t* third)
{
    return exchangeScalars(rec, 0xA07, inputs(a, b, c, d), first, second, third);
}

}  // extern "C"
