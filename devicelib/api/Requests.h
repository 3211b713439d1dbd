// The request number of every exported control call, named after the call.
// They are the legacy driver's numbers; the newer driver's transport
// translates them, so callers never see its own numbers (except for the few
// driver-level requests at the end, which only it serves).
#ifndef QUORVALE_REQUESTS_H
#define QUORVALE_REQUESTS_H

namespace quorvale::req {

// Device information.
inline constexpr int GetDriverSharedDataStructureVersion = 0x10000;
inline constexpr int GetHardwareDescription = 0x990;
inline constexpr int GetSerialPortDescription = 0x9E0;
inline constexpr int VantorixGetDeviceInfo = 0x940;
inline constexpr int GetSubDeviceInfo = 0x99A;
inline constexpr int GetQuorvaleFirmwareVersion = 0x996;
inline constexpr int IsQuorvaleHardwareUsable = 0x994;
inline constexpr int GetQuorvalePersistentIdentifier = 0x992;
inline constexpr int GetQuorvaleTopologicalIdentifier = 0x99E;
inline constexpr int GetQuorvaleDeviceBusyState = 0x99D;
inline constexpr int VantorixGetNumSupportedAudioChannels = 0x999;
inline constexpr int GetTimerCount = 0x993;
inline constexpr int GetCurrentVideoInputInterruptTimestamp = 0x91B;
inline constexpr int GetCurrentScheduledFrameTime = 0x90C;
inline constexpr int GetCurrentScheduledFrameID = 0x91F;
inline constexpr int GetDefaultVideoOutputMode = 0xA02;
inline constexpr int SetDefaultVideoOutputMode = 0xA03;
inline constexpr int GetVideoOutputHostApplicationTag = 0x91D;
inline constexpr int SetVideoOutputHostApplicationTag = 0x91C;

// Playback, capture, audio and timing.

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

// Identification EEPROM, serial port, registers, blending, idle output,
// attributes and the digital audio scales.
inline constexpr int ProgramQuorvaleDeviceIdentificationEEPROM = 0x9A2;
inline constexpr int VerifyQuorvaleDeviceIdentificationEEPROMisProgrammed = 0x9A6;
inline constexpr int GetQuorvaleDeviceIdentificationEEPROMProgrammingStatus = 0x9A3;
inline constexpr int SerialOpen = 0x9D7;
inline constexpr int SerialClose = 0x9D8;
inline constexpr int SerialRead = 0x9D9;
inline constexpr int SerialWrite = 0x9DA;
inline constexpr int SerialWriteWithInterrupt = 0x9DB;
inline constexpr int SerialReadWithInterrupt = 0x9DC;
inline constexpr int SerialGetInterruptCount = 0x9DD;
inline constexpr int SerialSetRxTxSwapState = 0x9DE;
inline constexpr int SerialGetRxTxSwapState = 0x9DF;
inline constexpr int Set3dPackingFormat = 0x99C;
inline constexpr int Get3dPackingFormat = 0x99B;
inline constexpr int GetAPINotification = 0x9F0;
inline constexpr int PostAPINotification = 0x9F1;
inline constexpr int ReadFPGARegister = 0x9A0;
inline constexpr int WriteFPGARegister = 0x9A1;
inline constexpr int SetAlphaBlendModeOn = 0x9B0;
inline constexpr int SetAlphaBlendModeOff = 0x9B1;
inline constexpr int SetGlobalAlphaLevel = 0x9B2;
inline constexpr int PerformBlendRampUp = 0x9B3;
inline constexpr int PerformBlendRampDown = 0x9B4;
inline constexpr int SetAutoBlendSettings = 0x9B5;
inline constexpr int SetQuorvaleIdleVideoOutputOperation = 0x9D0;
inline constexpr int GetQuorvaleIdleVideoOutputOperation = 0x9D1;
// The idle-operation request, written rather than read: this is what the
// drivers have always received for it.
inline constexpr int SetAudioMeterMode = GetQuorvaleIdleVideoOutputOperation;
inline constexpr int SetDriverAttribute = 0xA04;
inline constexpr int GetDriverAttribute = 0xA05;
inline constexpr int GetStatusInfo = 0xA07;
inline constexpr int SetDigitalAudioInputScale = 0x94E;
inline constexpr int SetDigitalAudioOutputScale = 0x94F;
inline constexpr int GetDigitalAudioInputScale = 0x955;
inline constexpr int GetDigitalAudioOutputScale = 0x956;

// Requests that go to the descriptor with a plain pointer argument, outside
// the transport, and reach either driver untranslated.
inline constexpr int AudioInputSelectStereoChannelPair = 0x93C;
inline constexpr int AudioOutputGetAvailableSampleSpace = 0x935;
inline constexpr int InsertVideoInputSyncMarker = 0x91A;
inline constexpr int Write1DVideoOutputLookupTable = 0x98A;
inline constexpr int Read1DVideoOutputLookupTable = 0x98B;
inline constexpr int Write3DVideoOutputLookupTable = 0x98C;
inline constexpr int Read3DVideoOutputLookupTable = 0x98D;
inline constexpr int ReinitialiseQuorvaleHardware = 0x995;
inline constexpr int SetLowSpeedFanOperation = 0x997;
inline constexpr int GetLowSpeedFanOperation = 0x998;
inline constexpr int ReadConfigurationRegister = 0x9A4;
inline constexpr int WriteConfigurationRegister = 0x9A5;
inline constexpr int GetDVIOutputBlueOnly = 0x9C0;
inline constexpr int SetDVIOutputBlueOnly = 0x9C1;
inline constexpr int GetDVIOutputInterlaceSimulation = 0x9C2;
inline constexpr int SetDVIOutputInterlaceSimulation = 0x9C3;
inline constexpr int GetDVIOutputForceEDIDOverride = 0x9C4;
inline constexpr int SetDVIOutputForceEDIDOverride = 0x9C5;
inline constexpr int GetDVIOutputScaleIllegalYUV = 0x9C6;
inline constexpr int SetDVIOutputScaleIllegalYUV = 0x9C7;
inline constexpr int GetDVIOutputSDScaling = 0x9C8;
inline constexpr int SetDVIOutputSDScaling = 0x9C9;
inline constexpr int GetDVIOutputScaleToFitScreen = 0x9CA;
inline constexpr int SetDVIOutputScaleToFitScreen = 0x9CB;
inline constexpr int SetAudioMeterBrightness = 0x9D3;
inline constexpr int WriteOEMPromSegment = 0x9D5;
inline constexpr int ReadOEMPromSegment = 0x9D6;
inline constexpr int ForceDeviceToUSB2 = 0x9E1;
inline constexpr int GetDeviceUSBConnectionProperties = 0x9E2;
inline constexpr int GetBypassState = 0xA00;
inline constexpr int SetBypassState = 0xA01;

// Driver-level requests, already in the newer driver's numbering.
inline constexpr int PerformDMATransfer = 0x9000A;
inline constexpr int GetDriverStatistics = 0x9000C;

}  // namespace quorvale::req

#endif
