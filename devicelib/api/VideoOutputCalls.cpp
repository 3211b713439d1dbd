// Playback calls, the preview event and the notification-event calls.
#include "QuorvaleVideoAudio.h"
#include "CallShapes.h"

using namespace quorvale;

namespace {

// The 24-byte start record: fieldInterrupt -1 means no choice of field; the
// sixth word is left as it was on the stack (the driver ignores it).
int startPlayback(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d,
                  int32_t fieldInterrupt)
{
    QuorvalePlaybackStartRec start;
    start.a = a;
    start.b = b;
    start.c = c;
    start.d = d;
    start.fieldInterrupt = fieldInterrupt;
    return writeRecord(rec, req::HardwareStartScheduledPlayback, start);
}

}  // namespace

// Handles are the caller's: no driver traffic.
int InstallNotificationEvents(QuorvaleInstanceRec*, uint32_t* handle, uint32_t value)
{
    if (handle != nullptr)
        *handle = value;
    return kQuorvaleSuccess;
}

int RemoveNotificationEvents(QuorvaleInstanceRec* rec, uint32_t* handle)
{
    return InstallNotificationEvents(rec, handle, 0);
}

// Without a device this call answers like an untranslatable request.
int WaitForNotificationEvents(QuorvaleInstanceRec* rec, const uint32_t* events, uint32_t* result)
{
    if (rec == nullptr || rec->transport == nullptr)
        return kQuorvaleNotTranslatable;
    return exchangeScalars(rec, req::WaitForNotificationEvents, inputs(*events), result);
}

int AbortWaitForNotificationEvents(QuorvaleInstanceRec* rec, uint32_t events)
{ return writeScalars(rec, req::AbortWaitForNotificationEvents, events); }

int SetVideoOutputPreviewEvent(QuorvaleInstanceRec* rec, uint32_t event)
{ return writeScalars(rec, req::SetVideoOutputPreviewEvent, event); }

int WaitForVideoOutputPreviewEvent(QuorvaleInstanceRec* rec)
{ return bareRequest(rec, req::WaitForVideoOutputPreviewEvent); }

int HardwareVideoOutputOn(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b)
{ return writeScalars(rec, req::HardwareVideoOutputOn, a, b); }

int HardwareVideoOutputOff(QuorvaleInstanceRec* rec)
{ return bareRequest(rec, req::HardwareVideoOutputOff); }

int HardwareScheduleFrame(QuorvaleInstanceRec* rec, const QuorvaleFrameDescriptor* frame, uint32_t* result)
{ return exchangeRecords(rec, req::HardwareScheduleFrame, *frame, result); }

int HardwareDrawFrameNow(QuorvaleInstanceRec* rec, const QuorvaleFrameDescriptor* frame)
{ return writeRecord(rec, req::HardwareDrawFrameNow, *frame); }

int HardwareStartScheduledPlayback(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d)
{ return startPlayback(rec, a, b, c, d, -1); }

int HardwareStartScheduledPlaybackAtFieldInterrupt(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b,
                                                   uint32_t c, uint32_t d, int32_t fieldInterrupt)
{ return startPlayback(rec, a, b, c, d, fieldInterrupt); }

// Kept so: only the record is tested, an open device always has a transport.
int HardwareStopScheduledPlayback(QuorvaleInstanceRec* rec, uint32_t a, int32_t b, uint64_t* stopTime)
{
    if (rec == nullptr)
        return kQuorvaleBadArgument;
    const unsigned long long in[2] = {toScalar(b), toScalar(a)};
    unsigned long long out[2] = {0, 0};
    const int status = rec->transport->writeScalarReadScalar(req::HardwareStopScheduledPlayback,
                                                             in, 2, out, 2);
    if (status == 0 && stopTime != nullptr)
        *stopTime = (out[0] << 32) | out[1];
    return status;
}

int HardwareGetCompletedPlaybackFrames(QuorvaleInstanceRec* rec, QuorvaleCompletionRec* records, uint32_t* count)
{ return readRecords<sizeof(QuorvaleCompletionRec)>(rec, req::HardwareGetCompletedPlaybackFrames, records, count); }

int IsScheduledPlaybackRunning(QuorvaleInstanceRec* rec, uint8_t* running)
{ return readFlag(rec, req::IsScheduledPlaybackRunning, running); }

int SetVideoOutputDownconversionMode(QuorvaleInstanceRec* rec, uint32_t mode)
{ return writeWord(rec, req::SetVideoOutputDownconversionMode, mode); }

int GetVideoOutputDownconversionMode(QuorvaleInstanceRec* rec, uint32_t* mode)
{ return readWord(rec, req::GetVideoOutputDownconversionMode, mode); }

int SetVideoOutputDownconversionOnAnalogOutput(QuorvaleInstanceRec* rec, uint8_t enabled)
{ return writeFlag(rec, req::SetVideoOutputDownconversionOnAnalogOutput, enabled); }

int GetVideoOutputDownconversionOnAnalogOutput(QuorvaleInstanceRec* rec, uint8_t* enabled)
{ return readFlag(rec, req::GetVideoOutputDownconversionOnAnalogOutput, enabled); }

int SetVideoOutputConversionOnHDMI(QuorvaleInstanceRec* rec, uint8_t enabled)
{ return writeFlag(rec, req::SetVideoOutputConversionOnHDMI, enabled); }

int GetVideoOutputConversionOnHDMI(QuorvaleInstanceRec* rec, uint8_t* enabled)
{ return readFlag(rec, req::GetVideoOutputConversionOnHDMI, enabled); }

int SetSingleFieldOutputForSynchronousFrames(QuorvaleInstanceRec* rec, uint8_t enabled)
{ return writeFlag(rec, req::SetSingleFieldOutputForSynchronousFrames, enabled); }

int GetSingleFieldOutputForSynchronousFrames(QuorvaleInstanceRec* rec, uint8_t* enabled)
{ return readFlag(rec, req::GetSingleFieldOutputForSynchronousFrames, enabled); }

int SetBlackVideoOutputDuringCapture(QuorvaleInstanceRec* rec, uint8_t enabled)
{ return writeFlag(rec, req::SetBlackVideoOutputDuringCapture, enabled); }

int GetBlackVideoOutputDuringCapture(QuorvaleInstanceRec* rec, uint8_t* enabled)
{ return readFlag(rec, req::GetBlackVideoOutputDuringCapture, enabled); }

int SetHDTVPulldownOnOutput(QuorvaleInstanceRec* rec, uint8_t enabled)
{ return writeFlag(rec, req::SetHDTVPulldownOnOutput, enabled); }

int GetHDTVPulldownOnOutput(QuorvaleInstanceRec* rec, uint8_t* enabled)
{ return readFlag(rec, req::GetHDTVPulldownOnOutput, enabled); }

int Set444And3GbpsOutputState(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b)
{ return writeScalars(rec, req::Set444And3GbpsOutputState, a, b); }

int Get444And3GbpsOutputState(QuorvaleInstanceRec* rec, uint32_t* a, uint32_t* b)
{ return readScalars(rec, req::Get444And3GbpsOutputState, a, b); }
