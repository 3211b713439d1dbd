// The legacy request number of every playback, capture, audio and timing
// call. The newer driver's transport translates them; callers never see its
// numbers.
#ifndef QUORVALE_VIDEO_AUDIO_REQUESTS_H
#define QUORVALE_VIDEO_AUDIO_REQUESTS_H

namespace quorvale::req {

inline constexpr int SetVideoOutputPreviewEvent = 0x91E;
inline constexpr int WaitForVideoOutputPreviewEvent = 0x1011;
inline constexpr int AbortWaitForNotificationEvents = 0x902;
inline constexpr int WaitForNotificationEvents = 0x901;
inline constexpr int HardwareVideoOutputOn = 0x903;
inline constexpr int HardwareVideoOutputOff = 0x904;
inline constexpr int HardwareScheduleFrame = 0x906;
inline constexpr int HardwareDrawFrameNow = 0x905;
inline constexpr int HardwareStartScheduledPlayback = 0x907;
inline constexpr int HardwareStartScheduledPlaybackAtFieldInterrupt = 0x907;
inline constexpr int HardwareStopScheduledPlayback = 0x909;
inline constexpr int HardwareGetCompletedPlaybackFrames = 0x90A;
inline constexpr int IsScheduledPlaybackRunning = 0x90B;
inline constexpr int HardwareVideoInputOn = 0x910;
inline constexpr int HardwareVideoInputOff = 0x911;
inline constexpr int GetVideoInputDisplayMode = 0x991;
inline constexpr int HardwareSetVideoInputDisplayMode = 0x912;
inline constexpr int HardwareGetVideoInputFrameBufferSizeForMode = 0x913;
inline constexpr int HardwareProvideFrameForVideoInput = 0x914;
inline constexpr int DoesSupportVideoInputMode = 0xA06;
inline constexpr int HardwareGetFlushedInputFrames = 0x917;
inline constexpr int RecycleCompletedVideoInputFrames = 0x918;
inline constexpr int ResetVideoInput = 0x919;
inline constexpr int AudioOutputStart = 0x930;
inline constexpr int AudioOutputStop = 0x931;
inline constexpr int AudioOutputWriteSamples = 0x932;
inline constexpr int AudioOutputGetBufferedSampleCount = 0x933;
inline constexpr int AudioOutputGetAudioStreamTime = 0x934;
inline constexpr int AudioOutputWaitForInterrupt = 0x1010;
inline constexpr int AudioInputStart = 0x936;
inline constexpr int AudioInputStop = 0x937;
inline constexpr int AudioInputReadSamples = 0x938;
inline constexpr int AudioInputGetBufferedSampleCount = 0x939;
inline constexpr int AudioInputFlushBufferedSamples = 0x93A;
inline constexpr int SetAudioInputSource = 0x93D;
inline constexpr int GetAudioInputSource = 0x93E;
inline constexpr int SetCaptureVANCLines = 0x976;
inline constexpr int GetCaptureVANCLines = 0x977;
inline constexpr int SetVideoOutputDownconversionMode = 0x978;
inline constexpr int GetVideoOutputDownconversionMode = 0x979;
inline constexpr int SetVideoOutputDownconversionOnAnalogOutput = 0x97A;
inline constexpr int GetVideoOutputDownconversionOnAnalogOutput = 0x97B;
inline constexpr int SetVideoOutputConversionOnHDMI = 0x97C;
inline constexpr int GetVideoOutputConversionOnHDMI = 0x97D;
inline constexpr int SetVideoInputDownconversionMode = 0x97E;
inline constexpr int GetVideoInputDownconversionMode = 0x97F;
inline constexpr int SetSingleFieldOutputForSynchronousFrames = 0x960;
inline constexpr int GetSingleFieldOutputForSynchronousFrames = 0x961;
inline constexpr int SetGenlockTimingOffset = 0x980;
inline constexpr int GetGenlockTimingOffset = 0x984;
inline constexpr int SetClockTimingAdjustment = 0x985;
inline constexpr int GetClockTimingAdjustment = 0x986;
inline constexpr int SetForceProgressiveVideo = 0x982;
inline constexpr int GetForceProgressiveVideo = 0x983;
inline constexpr int GetInputReferenceStatus = 0x981;
inline constexpr int SetAnalogueVideoOutputFormat = 0x941;
inline constexpr int GetAnalogueVideoOutputFormat = 0x942;
inline constexpr int SetAnalogueVideoOutputFlags = 0x943;
inline constexpr int GetAnalogueVideoOutputFlags = 0x944;
inline constexpr int SetComponentAnalogueOutputGainDelta = 0x966;
inline constexpr int GetComponentAnalogueOutputGainDelta = 0x967;
inline constexpr int SetCompositeAnalogueOutputGainDelta = 0x968;
inline constexpr int GetCompositeAnalogueOutputGainDelta = 0x969;
inline constexpr int SetSVideoAnalogueOutputGainDelta = 0x96A;
inline constexpr int GetSVideoAnalogueOutputGainDelta = 0x96B;
inline constexpr int EnableAnalogueVideoInputAntialiasFilter = 0x972;
inline constexpr int IsAnalogueVideoInputAntialiasFilterEnabled = 0x973;
inline constexpr int SetVideoInputFormat = 0x945;
inline constexpr int GetVideoInputFormat = 0x946;
inline constexpr int SetAnalogueVideoInputFlags = 0x947;
inline constexpr int GetAnalogueVideoInputFlags = 0x948;
inline constexpr int SetComponentAnalogueInputGainDelta = 0x96C;
inline constexpr int GetComponentAnalogueInputGainDelta = 0x96D;
inline constexpr int SetCompositeAnalogueInputGainDelta = 0x96E;
inline constexpr int GetCompositeAnalogueInputGainDelta = 0x96F;
inline constexpr int SetSVideoAnalogueInputGainDelta = 0x970;
inline constexpr int GetSVideoAnalogueInputGainDelta = 0x971;
inline constexpr int SetBlackVideoOutputDuringCapture = 0x964;
inline constexpr int GetBlackVideoOutputDuringCapture = 0x965;
inline constexpr int SetAFrameInputReference = 0x974;
inline constexpr int GetAFrameInputReference = 0x975;
inline constexpr int Set444And3GbpsOutputState = 0x949;
inline constexpr int Get444And3GbpsOutputState = 0x94A;
inline constexpr int SetSwitchedAudioOutputFormat = 0x950;
inline constexpr int GetSwitchedAudioOutputFormat = 0x951;
inline constexpr int SetAnalogAudioConsumerLevels = 0x94B;
inline constexpr int GetAnalogAudioConsumerLevels = 0x952;
inline constexpr int SetRawAnalogAudioInputScale = 0x94C;
inline constexpr int GetRawAnalogAudioInputScale = 0x953;
inline constexpr int SetRawAnalogAudioOutputScale = 0x94D;
inline constexpr int GetRawAnalogAudioOutputScale = 0x954;
inline constexpr int SetHDTVPulldownOnOutput = 0x962;
inline constexpr int GetHDTVPulldownOnOutput = 0x963;

// Capture: the completed-frame record, and the direct request (not through
// the transport) that tells the driver a second field has been merged.
inline constexpr int HardwareGetCompletedInputFrame = 0x916;
inline constexpr int SecondFieldMerged = 0x915;

}  // namespace quorvale::req

#endif
