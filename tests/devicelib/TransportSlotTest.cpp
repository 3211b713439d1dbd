// Which transport operation each exported control call enters first. A
// derived transport sees the narrow operations (one unsigned int, one byte)
// apart from the scalar arrays they are built on, so a call that takes the
// array path with a count of 1 behaves differently under an override even
// though the driver receives the same block.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "IoctlMessageUser.h"
#include "Quorvale.h"
#include "QuorvaleInstanceRec.h"

namespace {

// Dispatch-table slots of the transport, in declaration order.
enum Slot : int {
    kNoSlot = -1,  // no transport traffic at all
    kMapMemory = 2,
    kCallBare = 3,
    kCall = 4,
    kReadScalars = 5,
    kReadBool = 6,
    kReadWord = 7,
    kReadFlag = 8,
    kReadStruct = 9,
    kWriteScalars = 10,
    kWriteBool = 11,
    kWriteWord = 12,
    kWriteFlag = 13,
    kWriteStruct = 14,
    kQueryWord = 15,
    kQueryFlag = 16,
    kExchangeScalars = 17,
    kWriteScalarsReadStruct = 18,
    kExchangeStructs = 19,
    kWriteStructReadScalars = 20,
    kWriteScalarsAndStruct = 21,
    kSendMessage = 22,
    kSendBufferMessage = 23,
};

// Notes every slot entered, in order, and lets the base class do the work.
// The driver below always fails, so no call goes on to use what it read.
class SlotRecorder : public IoctlMessageUser {
public:
    SlotRecorder() : IoctlMessageUser(-1) {}

    std::vector<int> entered;

    void* mapMemory(unsigned page, unsigned length, bool writable) override
    {
        entered.push_back(kMapMemory);
        return IoctlMessageUser::mapMemory(page, length, writable);
    }
    int call(int req) override
    {
        entered.push_back(kCallBare);
        return IoctlMessageUser::call(req);
    }
    int call(int, IoctlArguments*) override
    {
        entered.push_back(kCall);
        return -1;
    }
    int readScalar(int req, unsigned long long* out, unsigned count) override
    {
        entered.push_back(kReadScalars);
        return IoctlMessageUser::readScalar(req, out, count);
    }
    int readScalar(int req, bool* out) override
    {
        entered.push_back(kReadBool);
        return IoctlMessageUser::readScalar(req, out);
    }
    int readScalar(int req, unsigned int* out) override
    {
        entered.push_back(kReadWord);
        return IoctlMessageUser::readScalar(req, out);
    }
    int readScalar(int req, unsigned char* out) override
    {
        entered.push_back(kReadFlag);
        return IoctlMessageUser::readScalar(req, out);
    }
    int readStruct(int req, void* out, unsigned* size) override
    {
        entered.push_back(kReadStruct);
        return IoctlMessageUser::readStruct(req, out, size);
    }
    int writeScalar(int req, const unsigned long long* in, unsigned count) override
    {
        entered.push_back(kWriteScalars);
        return IoctlMessageUser::writeScalar(req, in, count);
    }
    int writeScalar(int req, bool v) override
    {
        entered.push_back(kWriteBool);
        return IoctlMessageUser::writeScalar(req, v);
    }
    int writeScalar(int req, unsigned int v) override
    {
        entered.push_back(kWriteWord);
        return IoctlMessageUser::writeScalar(req, v);
    }
    int writeScalar(int req, unsigned char v) override
    {
        entered.push_back(kWriteFlag);
        return IoctlMessageUser::writeScalar(req, v);
    }
    int writeStruct(int req, const void* in, unsigned size) override
    {
        entered.push_back(kWriteStruct);
        return IoctlMessageUser::writeStruct(req, in, size);
    }
    int writeScalarReadScalar(int req, unsigned int in, unsigned int* out) override
    {
        entered.push_back(kQueryWord);
        return IoctlMessageUser::writeScalarReadScalar(req, in, out);
    }
    int writeScalarReadScalar(int req, unsigned int in, unsigned char* out) override
    {
        entered.push_back(kQueryFlag);
        return IoctlMessageUser::writeScalarReadScalar(req, in, out);
    }
    int writeScalarReadScalar(int req, const unsigned long long* in, unsigned inCount,
                              unsigned long long* out, unsigned outCount) override
    {
        entered.push_back(kExchangeScalars);
        return IoctlMessageUser::writeScalarReadScalar(req, in, inCount, out, outCount);
    }
    int writeScalarReadStruct(int req, const unsigned long long* in, unsigned inCount, void* out,
                              unsigned* size) override
    {
        entered.push_back(kWriteScalarsReadStruct);
        return IoctlMessageUser::writeScalarReadStruct(req, in, inCount, out, size);
    }
    int writeStructReadStruct(int req, const void* in, unsigned inSize, void* out,
                              unsigned* size) override
    {
        entered.push_back(kExchangeStructs);
        return IoctlMessageUser::writeStructReadStruct(req, in, inSize, out, size);
    }
    int writeStructReadScalar(int req, const void* in, unsigned inSize, unsigned long long* out,
                              unsigned outCount) override
    {
        entered.push_back(kWriteStructReadScalars);
        return IoctlMessageUser::writeStructReadScalar(req, in, inSize, out, outCount);
    }
    int writeScalarWriteStruct(int req, const unsigned long long* in, unsigned inCount,
                               const void* s, unsigned size) override
    {
        entered.push_back(kWriteScalarsAndStruct);
        return IoctlMessageUser::writeScalarWriteStruct(req, in, inCount, s, size);
    }
    int sendMessage(_VantorixIOMessageRequest* request) override
    {
        entered.push_back(kSendMessage);
        return IoctlMessageUser::sendMessage(request);
    }
    int sendBufferMessage(_VantorixIOBufferMessageRequest* request) override
    {
        entered.push_back(kSendBufferMessage);
        return IoctlMessageUser::sendBufferMessage(request);
    }
};

// Room for every argument any call takes.
struct Scratch {
    uint32_t w[16] = {};
    uint8_t flag = 0;
    uint64_t q[4] = {};
    double d[4] = {};
    const char* name = nullptr;
    void* pointer = nullptr;
    uint8_t bytes[16384] = {};
    QuorvaleFrameDescriptor frame{};
    QuorvaleCompletionRec completions[4]{};
    QuorvaleAncillaryDescription ancillary{};
    QuorvaleDriverStatisticsRec statistics{};
    QuorvaleDMATransferRec transfer{};
    QuorvaleMessageRequestRec message{};
    QuorvaleBufferMessageRequestRec bufferMessage{};
    QuorvaleEventRef event = nullptr;
};

using Invoke = std::function<int(QuorvaleInstanceRec*, Scratch&)>;

struct Row {
    const char* name;
    int slot;  // the first slot entered, or kNoSlot
    Invoke invoke;
};

#define ROW(call, slot, ...) \
    Row { #call, slot, [](QuorvaleInstanceRec* r, Scratch& s) { (void)r; (void)s; return __VA_ARGS__; } }

const std::vector<Row>& rows()
{
    static const std::vector<Row> table = {
        // Device information.
        ROW(GetDriverSharedDataStructureVersion, kReadWord, GetDriverSharedDataStructureVersion(r, s.w)),
        ROW(GetHardwareDescription, kReadStruct, GetHardwareDescription(r, s.bytes)),
        ROW(GetSerialPortDescription, kReadStruct, GetSerialPortDescription(r, reinterpret_cast<char*>(s.bytes))),
        ROW(VantorixGetDeviceInfo, kReadScalars, VantorixGetDeviceInfo(r, s.w, s.w + 1)),
        ROW(GetModelName, kReadScalars, GetModelName(r, &s.name)),
        ROW(GetSubDeviceInfo, kReadScalars, GetSubDeviceInfo(r, s.w, s.w + 1, s.w + 2)),
        ROW(GetQuorvaleFirmwareVersion, kReadScalars, GetQuorvaleFirmwareVersion(r, s.w, s.w + 1)),
        ROW(IsQuorvaleHardwareUsable, kReadWord, IsQuorvaleHardwareUsable(r, s.w)),
        ROW(GetQuorvalePersistentIdentifier, kReadWord, GetQuorvalePersistentIdentifier(r, s.w)),
        ROW(GetQuorvaleTopologicalIdentifier, kReadWord, GetQuorvaleTopologicalIdentifier(r, s.w)),
        ROW(GetQuorvaleDeviceBusyState, kReadWord, GetQuorvaleDeviceBusyState(r, s.w)),
        ROW(VantorixGetNumSupportedAudioChannels, kReadWord, VantorixGetNumSupportedAudioChannels(r, s.w)),
        ROW(GetTimerCount, kReadScalars, GetTimerCount(r, s.q)),
        ROW(GetCurrentVideoInputInterruptTimestamp, kReadScalars, GetCurrentVideoInputInterruptTimestamp(r, s.w, s.q, s.w + 1)),
        ROW(GetCurrentScheduledFrameTime, kReadScalars, GetCurrentScheduledFrameTime(r, s.q, s.w, s.w + 1)),
        ROW(GetCurrentScheduledFrameID, kReadWord, GetCurrentScheduledFrameID(r, &s.flag)),
        ROW(GetDefaultVideoOutputMode, kReadWord, GetDefaultVideoOutputMode(r, s.w)),
        ROW(SetDefaultVideoOutputMode, kWriteWord, SetDefaultVideoOutputMode(r, 3)),
        ROW(GetVideoOutputHostApplicationTag, kReadWord, GetVideoOutputHostApplicationTag(r, s.w)),
        ROW(SetVideoOutputHostApplicationTag, kWriteWord, SetVideoOutputHostApplicationTag(r, 3)),
        ROW(GetCurrentVideoOutputInterruptTimestamp, kNoSlot, GetCurrentVideoOutputInterruptTimestamp(r, s.w, s.q, s.w + 1)),
        ROW(GetAudioOutputBufferWrapCount, kNoSlot, GetAudioOutputBufferWrapCount(r, s.w)),
        ROW(GetAudioInputBufferWrapCount, kNoSlot, GetAudioInputBufferWrapCount(r, s.w)),

        // Playback, capture, audio and timing.
        ROW(InstallNotificationEvents, kNoSlot, InstallNotificationEvents(r, s.w, 5)),
        ROW(RemoveNotificationEvents, kNoSlot, RemoveNotificationEvents(r, s.w)),
        ROW(SetVideoOutputPreviewEvent, kWriteScalars, SetVideoOutputPreviewEvent(r, 1)),
        ROW(WaitForVideoOutputPreviewEvent, kCallBare, WaitForVideoOutputPreviewEvent(r)),
        ROW(AbortWaitForNotificationEvents, kWriteScalars, AbortWaitForNotificationEvents(r, 1)),
        ROW(WaitForNotificationEvents, kExchangeScalars, WaitForNotificationEvents(r, s.w, s.w + 1)),
        ROW(HardwareVideoOutputOn, kWriteScalars, HardwareVideoOutputOn(r, 1, 2)),
        ROW(HardwareVideoOutputOff, kCallBare, HardwareVideoOutputOff(r)),
        ROW(HardwareScheduleFrame, kExchangeStructs, HardwareScheduleFrame(r, &s.frame, s.w)),
        ROW(HardwareDrawFrameNow, kWriteStruct, HardwareDrawFrameNow(r, &s.frame)),
        ROW(HardwareStartScheduledPlayback, kWriteStruct, HardwareStartScheduledPlayback(r, 1, 2, 3, 4)),
        ROW(HardwareStartScheduledPlaybackAtFieldInterrupt, kWriteStruct, HardwareStartScheduledPlaybackAtFieldInterrupt(r, 1, 2, 3, 4, 5)),
        ROW(HardwareStopScheduledPlayback, kExchangeScalars, HardwareStopScheduledPlayback(r, 1, -2, s.q)),
        ROW(HardwareGetCompletedPlaybackFrames, kReadStruct, HardwareGetCompletedPlaybackFrames(r, s.completions, &(s.w[0] = 4))),
        ROW(IsScheduledPlaybackRunning, kReadFlag, IsScheduledPlaybackRunning(r, &s.flag)),
        ROW(HardwareVideoInputOn, kWriteWord, HardwareVideoInputOn(r, 1)),
        ROW(HardwareVideoInputOff, kCallBare, HardwareVideoInputOff(r)),
        ROW(GetVideoInputDisplayMode, kReadWord, GetVideoInputDisplayMode(r, s.w)),
        ROW(HardwareSetVideoInputDisplayMode, kWriteScalars, HardwareSetVideoInputDisplayMode(r, 1, 2, 3)),
        ROW(HardwareGetVideoInputFrameBufferSizeForMode, kExchangeScalars, HardwareGetVideoInputFrameBufferSizeForMode(r, 1, 2, 3, s.w)),
        ROW(HardwareProvideFrameForVideoInput, kWriteStruct, HardwareProvideFrameForVideoInput(r, &s.frame)),
        ROW(DoesSupportVideoInputMode, kExchangeScalars, DoesSupportVideoInputMode(r, 1, 2, s.w)),
        ROW(HardwareGetFlushedInputFrames, kReadStruct, HardwareGetFlushedInputFrames(r, s.bytes, &(s.w[0] = 64))),
        ROW(RecycleCompletedVideoInputFrames, kCallBare, RecycleCompletedVideoInputFrames(r)),
        ROW(ResetVideoInput, kCallBare, ResetVideoInput(r)),
        ROW(HardwareGetCompletedInputFrame, kReadStruct, HardwareGetCompletedInputFrame(r, &s.pointer, s.w, s.w + 1, s.w + 2, s.w + 3, s.w + 4, s.w + 5, s.w + 6, s.q, s.q + 1, &s.ancillary)),
        ROW(SetCaptureVANCLines, kWriteScalars, SetCaptureVANCLines(r, 1, 2, 3)),
        ROW(GetCaptureVANCLines, kReadScalars, GetCaptureVANCLines(r, s.w, s.w + 1, s.w + 2)),
        ROW(SetVideoInputDownconversionMode, kWriteWord, SetVideoInputDownconversionMode(r, 1)),
        ROW(GetVideoInputDownconversionMode, kReadWord, GetVideoInputDownconversionMode(r, s.w)),
        ROW(VideoInputSetAudioInputResyncToken, kNoSlot, VideoInputSetAudioInputResyncToken(r, 1)),
        ROW(AudioOutputStart, kWriteStruct, AudioOutputStart(r, s.bytes, 16)),
        ROW(AudioOutputStop, kCallBare, AudioOutputStop(r)),
        ROW(AudioOutputWriteSamples, kExchangeStructs, AudioOutputWriteSamples(r, 1, 2, 3, 4, s.w, 6, 7)),
        ROW(AudioOutputGetBufferedSampleCount, kReadWord, AudioOutputGetBufferedSampleCount(r, s.w)),
        ROW(AudioOutputGetAudioStreamTime, kExchangeScalars, AudioOutputGetAudioStreamTime(r, 1, s.w, s.w + 1)),
        ROW(AudioOutputWaitForInterrupt, kCallBare, AudioOutputWaitForInterrupt(r)),
        ROW(AudioInputStart, kWriteScalars, AudioInputStart(r, 1, 2, 3)),
        ROW(AudioInputStop, kCallBare, AudioInputStop(r)),
        ROW(AudioInputReadSamples, kExchangeStructs, AudioInputReadSamples(r, 1, 2, s.q, s.w, s.w + 1, 5)),
        ROW(AudioInputGetBufferedSampleCount, kReadWord, AudioInputGetBufferedSampleCount(r, s.w)),
        ROW(AudioInputFlushBufferedSamples, kCallBare, AudioInputFlushBufferedSamples(r)),
        ROW(AudioInputGetLevelMeter, kNoSlot, AudioInputGetLevelMeter(r, s.w, s.w + 1)),
        ROW(SetAudioInputSource, kWriteWord, SetAudioInputSource(r, 1)),
        ROW(GetAudioInputSource, kReadWord, GetAudioInputSource(r, s.w)),
        ROW(SetSwitchedAudioOutputFormat, kWriteWord, SetSwitchedAudioOutputFormat(r, 1)),
        ROW(GetSwitchedAudioOutputFormat, kQueryFlag, GetSwitchedAudioOutputFormat(r, 1, &s.flag)),
        ROW(SetAnalogAudioConsumerLevels, kWriteFlag, SetAnalogAudioConsumerLevels(r, 1)),
        ROW(GetAnalogAudioConsumerLevels, kReadFlag, GetAnalogAudioConsumerLevels(r, &s.flag)),
        ROW(SetRawAnalogAudioInputScale, kWriteScalars, SetRawAnalogAudioInputScale(r, 1, 2, 3, 4)),
        ROW(GetRawAnalogAudioInputScale, kReadScalars, GetRawAnalogAudioInputScale(r, s.w, s.w + 1, s.w + 2, s.w + 3)),
        ROW(SetRawAnalogAudioOutputScale, kWriteScalars, SetRawAnalogAudioOutputScale(r, 1, 2, 3, 4)),
        ROW(GetRawAnalogAudioOutputScale, kReadScalars, GetRawAnalogAudioOutputScale(r, s.w, s.w + 1, s.w + 2, s.w + 3)),
        ROW(SetVideoOutputDownconversionMode, kWriteWord, SetVideoOutputDownconversionMode(r, 1)),
        ROW(GetVideoOutputDownconversionMode, kReadWord, GetVideoOutputDownconversionMode(r, s.w)),
        ROW(SetVideoOutputDownconversionOnAnalogOutput, kWriteFlag, SetVideoOutputDownconversionOnAnalogOutput(r, 1)),
        ROW(GetVideoOutputDownconversionOnAnalogOutput, kReadFlag, GetVideoOutputDownconversionOnAnalogOutput(r, &s.flag)),
        ROW(SetVideoOutputConversionOnHDMI, kWriteFlag, SetVideoOutputConversionOnHDMI(r, 1)),
        ROW(GetVideoOutputConversionOnHDMI, kReadFlag, GetVideoOutputConversionOnHDMI(r, &s.flag)),
        ROW(SetSingleFieldOutputForSynchronousFrames, kWriteFlag, SetSingleFieldOutputForSynchronousFrames(r, 1)),
        ROW(GetSingleFieldOutputForSynchronousFrames, kReadFlag, GetSingleFieldOutputForSynchronousFrames(r, &s.flag)),
        ROW(SetBlackVideoOutputDuringCapture, kWriteFlag, SetBlackVideoOutputDuringCapture(r, 1)),
        ROW(GetBlackVideoOutputDuringCapture, kReadFlag, GetBlackVideoOutputDuringCapture(r, &s.flag)),
        ROW(SetHDTVPulldownOnOutput, kWriteFlag, SetHDTVPulldownOnOutput(r, 1)),
        ROW(GetHDTVPulldownOnOutput, kReadFlag, GetHDTVPulldownOnOutput(r, &s.flag)),
        ROW(Set444And3GbpsOutputState, kWriteScalars, Set444And3GbpsOutputState(r, 1, 2)),
        ROW(Get444And3GbpsOutputState, kReadScalars, Get444And3GbpsOutputState(r, s.w, s.w + 1)),
        ROW(SetGenlockTimingOffset, kWriteWord, SetGenlockTimingOffset(r, 1)),
        ROW(GetGenlockTimingOffset, kReadWord, GetGenlockTimingOffset(r, s.w)),
        ROW(SetClockTimingAdjustment, kWriteWord, SetClockTimingAdjustment(r, 1)),
        ROW(GetClockTimingAdjustment, kReadWord, GetClockTimingAdjustment(r, s.w)),
        ROW(SetForceProgressiveVideo, kWriteScalars, SetForceProgressiveVideo(r, 1, 2)),
        ROW(GetForceProgressiveVideo, kReadScalars, GetForceProgressiveVideo(r, s.w, s.w + 1)),
        ROW(GetInputReferenceStatus, kReadWord, GetInputReferenceStatus(r, s.w)),
        ROW(SetAFrameInputReference, kWriteWord, SetAFrameInputReference(r, 1)),
        ROW(GetAFrameInputReference, kReadWord, GetAFrameInputReference(r, s.w)),
        ROW(SetAnalogueVideoOutputFormat, kWriteWord, SetAnalogueVideoOutputFormat(r, 1)),
        ROW(GetAnalogueVideoOutputFormat, kQueryFlag, GetAnalogueVideoOutputFormat(r, 1, &s.flag)),
        ROW(SetAnalogueVideoOutputFlags, kWriteWord, SetAnalogueVideoOutputFlags(r, 1)),
        ROW(GetAnalogueVideoOutputFlags, kReadWord, GetAnalogueVideoOutputFlags(r, s.w)),
        ROW(SetVideoInputFormat, kWriteWord, SetVideoInputFormat(r, 1)),
        ROW(GetVideoInputFormat, kReadWord, GetVideoInputFormat(r, s.w)),
        ROW(SetAnalogueVideoInputFlags, kWriteWord, SetAnalogueVideoInputFlags(r, 1)),
        ROW(GetAnalogueVideoInputFlags, kReadWord, GetAnalogueVideoInputFlags(r, s.w)),
        ROW(EnableAnalogueVideoInputAntialiasFilter, kWriteFlag, EnableAnalogueVideoInputAntialiasFilter(r, 1)),
        ROW(IsAnalogueVideoInputAntialiasFilterEnabled, kReadFlag, IsAnalogueVideoInputAntialiasFilterEnabled(r, &s.flag)),
        ROW(SetComponentAnalogueOutputGainDelta, kWriteScalars, SetComponentAnalogueOutputGainDelta(r, 1, -2, 3)),
        ROW(GetComponentAnalogueOutputGainDelta, kReadScalars, GetComponentAnalogueOutputGainDelta(r, reinterpret_cast<int32_t*>(s.w), reinterpret_cast<int32_t*>(s.w + 1), reinterpret_cast<int32_t*>(s.w + 2))),
        ROW(SetCompositeAnalogueOutputGainDelta, kWriteScalars, SetCompositeAnalogueOutputGainDelta(r, 1, -2)),
        ROW(GetCompositeAnalogueOutputGainDelta, kReadScalars, GetCompositeAnalogueOutputGainDelta(r, reinterpret_cast<int32_t*>(s.w), reinterpret_cast<int32_t*>(s.w + 1))),
        ROW(SetSVideoAnalogueOutputGainDelta, kWriteScalars, SetSVideoAnalogueOutputGainDelta(r, 1, -2)),
        ROW(GetSVideoAnalogueOutputGainDelta, kReadScalars, GetSVideoAnalogueOutputGainDelta(r, reinterpret_cast<int32_t*>(s.w), reinterpret_cast<int32_t*>(s.w + 1))),
        ROW(SetComponentAnalogueInputGainDelta, kWriteScalars, SetComponentAnalogueInputGainDelta(r, 1, -2, 3)),
        ROW(GetComponentAnalogueInputGainDelta, kReadScalars, GetComponentAnalogueInputGainDelta(r, reinterpret_cast<int32_t*>(s.w), reinterpret_cast<int32_t*>(s.w + 1), reinterpret_cast<int32_t*>(s.w + 2))),
        ROW(SetCompositeAnalogueInputGainDelta, kWriteScalars, SetCompositeAnalogueInputGainDelta(r, 1, -2)),
        ROW(GetCompositeAnalogueInputGainDelta, kReadScalars, GetCompositeAnalogueInputGainDelta(r, reinterpret_cast<int32_t*>(s.w), reinterpret_cast<int32_t*>(s.w + 1))),
        ROW(SetSVideoAnalogueInputGainDelta, kWriteScalars, SetSVideoAnalogueInputGainDelta(r, 1, -2)),
        ROW(GetSVideoAnalogueInputGainDelta, kReadScalars, GetSVideoAnalogueInputGainDelta(r, reinterpret_cast<int32_t*>(s.w), reinterpret_cast<int32_t*>(s.w + 1))),
        ROW(BlackOutBuffer, kNoSlot, (BlackOutBuffer(s.bytes, 16, 0x32767579), 0)),

        // Serial, register, display and maintenance.
        ROW(ProgramQuorvaleDeviceIdentificationEEPROM, kWriteStruct, ProgramQuorvaleDeviceIdentificationEEPROM(r, 1, 2, 3, 4)),
        ROW(VerifyQuorvaleDeviceIdentificationEEPROMisProgrammed, kCallBare, VerifyQuorvaleDeviceIdentificationEEPROMisProgrammed(r)),
        ROW(GetQuorvaleDeviceIdentificationEEPROMProgrammingStatus, kReadScalars, GetQuorvaleDeviceIdentificationEEPROMProgrammingStatus(r, s.w, s.w + 1, s.w + 2)),
        ROW(SerialOpen, kWriteWord, SerialOpen(r, 1)),
        ROW(SerialClose, kCallBare, SerialClose(r)),
        ROW(SerialRead, kReadStruct, SerialRead(r, s.bytes, 16, s.w)),
        ROW(SerialWrite, kExchangeStructs, SerialWrite(r, s.bytes, 16, s.w)),
        ROW(SerialWriteWithInterrupt, kExchangeStructs, SerialWriteWithInterrupt(r, s.bytes, 16, s.w, 1)),
        ROW(SerialReadWithInterrupt, kExchangeStructs, SerialReadWithInterrupt(r, s.bytes, 16, s.w, s.w + 1)),
        ROW(SerialGetInterruptCount, kReadWord, SerialGetInterruptCount(r, s.w)),
        ROW(SerialSetRxTxSwapState, kWriteFlag, SerialSetRxTxSwapState(r, 1)),
        ROW(SerialGetRxTxSwapState, kReadFlag, SerialGetRxTxSwapState(r, &s.flag)),
        ROW(Set3dPackingFormat, kWriteWord, Set3dPackingFormat(r, 1)),
        ROW(Get3dPackingFormat, kReadWord, Get3dPackingFormat(r, s.w)),
        ROW(GetAPINotification, kReadStruct, GetAPINotification(r, s.bytes, &(s.w[0] = 16))),
        ROW(PostAPINotification, kWriteStruct, PostAPINotification(r, s.bytes, 16)),
        ROW(ReadFPGARegister, kExchangeScalars, ReadFPGARegister(r, 1, s.w)),
        ROW(WriteFPGARegister, kWriteScalars, WriteFPGARegister(r, 1, 2)),
        ROW(SetAlphaBlendModeOn, kWriteWord, SetAlphaBlendModeOn(r, 1)),
        ROW(SetAlphaBlendModeOff, kCallBare, SetAlphaBlendModeOff(r)),
        ROW(SetGlobalAlphaLevel, kWriteWord, SetGlobalAlphaLevel(r, 1)),
        ROW(PerformBlendRampUp, kWriteWord, PerformBlendRampUp(r, 1)),
        ROW(PerformBlendRampDown, kWriteWord, PerformBlendRampDown(r, 1)),
        ROW(SetAutoBlendSettings, kWriteScalars, SetAutoBlendSettings(r, 1, 2, 3, 4)),
        ROW(SetQuorvaleIdleVideoOutputOperation, kWriteWord, SetQuorvaleIdleVideoOutputOperation(r, 1)),
        ROW(GetQuorvaleIdleVideoOutputOperation, kReadWord, GetQuorvaleIdleVideoOutputOperation(r, s.w)),
        ROW(SetAudioMeterMode, kWriteWord, SetAudioMeterMode(r, 1)),
        ROW(SetDriverAttribute, kWriteScalars, SetDriverAttribute(r, 1, 2, 3)),
        ROW(GetDriverAttribute, kExchangeScalars, GetDriverAttribute(r, 1, s.w)),
        ROW(GetStatusInfo, kExchangeScalars, GetStatusInfo(r, 1, 2, 3, 4, s.w, s.w + 1, s.w + 2)),
        ROW(GetDeviceUSBConnectionProperties, kNoSlot, GetDeviceUSBConnectionProperties(r, s.bytes)),
        ROW(ForceDeviceToUSB2, kNoSlot, ForceDeviceToUSB2(r)),
        ROW(SetBypassState, kNoSlot, SetBypassState(r, 1)),
        ROW(GetBypassState, kNoSlot, GetBypassState(r, s.w)),
        ROW(ReadOEMPromSegment, kNoSlot, ReadOEMPromSegment(r, s.bytes)),
        ROW(WriteOEMPromSegment, kNoSlot, WriteOEMPromSegment(r, s.bytes)),
        ROW(SetAudioMeterBrightness, kNoSlot, SetAudioMeterBrightness(r, 1)),
        ROW(SetDVIOutputScaleToFitScreen, kNoSlot, SetDVIOutputScaleToFitScreen(r, 1)),
        ROW(GetDVIOutputScaleToFitScreen, kNoSlot, GetDVIOutputScaleToFitScreen(r, s.w)),
        ROW(SetDVIOutputSDScaling, kNoSlot, SetDVIOutputSDScaling(r, 1)),
        ROW(GetDVIOutputSDScaling, kNoSlot, GetDVIOutputSDScaling(r, s.w)),
        ROW(SetDVIOutputScaleIllegalYUV, kNoSlot, SetDVIOutputScaleIllegalYUV(r, 1)),
        ROW(GetDVIOutputScaleIllegalYUV, kNoSlot, GetDVIOutputScaleIllegalYUV(r, s.w)),
        ROW(SetDVIOutputForceEDIDOverride, kNoSlot, SetDVIOutputForceEDIDOverride(r, 1)),
        ROW(GetDVIOutputForceEDIDOverride, kNoSlot, GetDVIOutputForceEDIDOverride(r, s.w)),
        ROW(SetDVIOutputInterlaceSimulation, kNoSlot, SetDVIOutputInterlaceSimulation(r, 1)),
        ROW(GetDVIOutputInterlaceSimulation, kNoSlot, GetDVIOutputInterlaceSimulation(r, s.w)),
        ROW(SetDVIOutputBlueOnly, kNoSlot, SetDVIOutputBlueOnly(r, 1)),
        ROW(GetDVIOutputBlueOnly, kNoSlot, GetDVIOutputBlueOnly(r, s.w)),
        ROW(WriteConfigurationRegister, kNoSlot, WriteConfigurationRegister(r, 1)),
        ROW(ReadConfigurationRegister, kNoSlot, ReadConfigurationRegister(r, s.w)),
        ROW(Write3DVideoOutputLookupTable, kNoSlot, Write3DVideoOutputLookupTable(r, 1, s.bytes, sizeof s.bytes)),
        ROW(Read3DVideoOutputLookupTable, kNoSlot, Read3DVideoOutputLookupTable(r, &s.flag, s.bytes, sizeof s.bytes)),
        ROW(Write1DVideoOutputLookupTable, kNoSlot, Write1DVideoOutputLookupTable(r, 1, 2, 3, 4)),
        ROW(Read1DVideoOutputLookupTable, kNoSlot, Read1DVideoOutputLookupTable(r, &s.flag, 2, 3, 4)),
        ROW(SetLowSpeedFanOperation, kNoSlot, SetLowSpeedFanOperation(r, 1)),
        ROW(GetLowSpeedFanOperation, kNoSlot, GetLowSpeedFanOperation(r, s.w)),
        ROW(AudioInputSelectStereoChannelPair, kNoSlot, AudioInputSelectStereoChannelPair(r, 1)),
        ROW(AudioOutputGetAvailableSampleSpace, kNoSlot, AudioOutputGetAvailableSampleSpace(r, s.w)),
        ROW(InsertVideoInputSyncMarker, kNoSlot, InsertVideoInputSyncMarker(r, 1)),
        ROW(ReinitialiseQuorvaleHardware, kNoSlot, ReinitialiseQuorvaleHardware(r, 1)),
        ROW(GetDriverInterfaceType, kNoSlot, GetDriverInterfaceType(r)),
        ROW(GetDriverStatistics, kExchangeStructs, GetDriverStatistics(r, &s.statistics)),
        ROW(PerformDMATransfer, kWriteStruct, PerformDMATransfer(r, &s.transfer)),
        ROW(SendMessageRequest, kSendMessage, SendMessageRequest(r, &s.message)),
        ROW(SendBufferMessageRequest, kSendBufferMessage, SendBufferMessageRequest(r, &s.bufferMessage)),
        ROW(ReadZelqSwitchersRegister, kNoSlot, ReadZelqSwitchersRegister(r, 1, s.w)),
        ROW(WriteZelqSwitchersRegister, kNoSlot, WriteZelqSwitchersRegister(r, 1, 2)),
        ROW(ConvertHardwareValueToAudioGain, kNoSlot, int(ConvertHardwareValueToAudioGain(128))),
        ROW(ConvertAudioGainToHardwareValue, kNoSlot, ConvertAudioGainToHardwareValue(0.0)),
        ROW(GetDigitalAudioOutputScale, kReadWord, GetDigitalAudioOutputScale(r, s.d)),
        ROW(SetDigitalAudioOutputScale, kWriteWord, SetDigitalAudioOutputScale(r, -6.0)),
        ROW(GetDigitalAudioInputScale, kReadWord, GetDigitalAudioInputScale(r, s.d)),
        ROW(SetDigitalAudioInputScale, kWriteWord, SetDigitalAudioInputScale(r, -6.0)),
        ROW(GetAnalogAudioOutputScale, kReadScalars, GetAnalogAudioOutputScale(r, s.d, s.d + 1, s.d + 2, s.d + 3)),
        ROW(SetAnalogAudioOutputScale, kWriteScalars, SetAnalogAudioOutputScale(r, 0.0, -6.0, 0.0, -6.0)),
        ROW(GetAnalogAudioInputScale, kReadScalars, GetAnalogAudioInputScale(r, s.d, s.d + 1, s.d + 2, s.d + 3)),
        ROW(SetAnalogAudioInputScale, kWriteScalars, SetAnalogAudioInputScale(r, 0.0, -6.0, 0.0, -6.0)),
        ROW(InitialiseQuorvaleEventRef, kNoSlot, InitialiseQuorvaleEventRef(&s.event)),
        ROW(DisposeQuorvaleEventRef, kNoSlot, (DisposeQuorvaleEventRef(nullptr), 0)),
    };
    return table;
}

#undef ROW

// The exports that are not control calls (enumeration, opening and arrival
// notification). With the rows above they make up every exported function;
// a check of the built library holds the two lists to that.
const char* const kNotControlCalls[] = {
    "CreateQuorvaleIterator", "QuorvaleIteratorNext", "ResetQuorvaleIterator",
    "ReleaseQuorvaleIterator", "QuorvaleOpenDevice", "ConnectToDriverCore",
    "ConnectToNextQuorvale", "CloseDriverConnectionCore", "MapDeviceMemoryCore",
    "GetDevicePath", "GetDriverFileDescriptor", "GetDriverName",
    "InstallQuorvaleNotificationCallback", "RemoveQuorvaleNotificationCallback",
};

void PrintTo(const Row& row, std::ostream* os)
{
    *os << row.name;
}

class TransportSlot : public ::testing::TestWithParam<Row> {};

TEST_P(TransportSlot, EntersTheOperationItsRequestIsMadeOf)
{
    const Row& row = GetParam();
    SlotRecorder transport;
    uint32_t sharedData[20] = {};
    QuorvaleInstanceRec rec{};
    rec.fd = -1;  // a direct request fails with EBADF and reaches no driver
    rec.transport = &transport;
    rec.sharedData = sharedData;
    auto scratch = std::make_unique<Scratch>();

    row.invoke(&rec, *scratch);
    if (scratch->event != nullptr)
        DisposeQuorvaleEventRef(scratch->event);

    if (row.slot == kNoSlot) {
        EXPECT_TRUE(transport.entered.empty()) << row.name << " entered slot " << transport.entered.front();
    } else {
        ASSERT_FALSE(transport.entered.empty()) << row.name << " never reached the transport";
        EXPECT_EQ(transport.entered.front(), row.slot) << row.name;
    }
}

INSTANTIATE_TEST_SUITE_P(EveryControlCall, TransportSlot, ::testing::ValuesIn(rows()),
                         [](const ::testing::TestParamInfo<Row>& p) { return std::string(p.param.name); });

TEST(TransportSlotTable, NamesEachCallOnce)
{
    std::set<std::string> names;
    for (const Row& row : rows())
        EXPECT_TRUE(names.insert(row.name).second) << row.name << " twice";
    for (const char* other : kNotControlCalls)
        EXPECT_EQ(names.count(other), 0u) << other;
    // 216 exported functions, of which the enumeration and notification ones
    // are not control calls.
    EXPECT_EQ(names.size() + std::size(kNotControlCalls), 216u);
}

}  // namespace
