// Every call of the family is exported from the shared library under its
// plain C name.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

namespace {

const char* const kCalls[] = {
    "SetVideoOutputPreviewEvent",
    "WaitForVideoOutputPreviewEvent",
    "AbortWaitForNotificationEvents",
    "WaitForNotificationEvents",
    "HardwareVideoOutputOn",
    "HardwareVideoOutputOff",
    "HardwareScheduleFrame",
    "HardwareDrawFrameNow",
    "HardwareStartScheduledPlayback",
    "HardwareStartScheduledPlaybackAtFieldInterrupt",
    "HardwareStopScheduledPlayback",
    "HardwareGetCompletedPlaybackFrames",
    "IsScheduledPlaybackRunning",
    "HardwareVideoInputOn",
    "HardwareVideoInputOff",
    "GetVideoInputDisplayMode",
    "HardwareSetVideoInputDisplayMode",
    "HardwareGetVideoInputFrameBufferSizeForMode",
    "HardwareProvideFrameForVideoInput",
    "DoesSupportVideoInputMode",
    "HardwareGetFlushedInputFrames",
    "RecycleCompletedVideoInputFrames",
    "ResetVideoInput",
    "AudioOutputStart",
    "AudioOutputStop",
    "AudioOutputWriteSamples",
    "AudioOutputGetBufferedSampleCount",
    "AudioOutputGetAudioStreamTime",
    "AudioOutputWaitForInterrupt",
    "AudioInputStart",
    "AudioInputStop",
    "AudioInputReadSamples",
    "AudioInputGetBufferedSampleCount",
    "AudioInputFlushBufferedSamples",
    "SetAudioInputSource",
    "GetAudioInputSource",
    "SetCaptureVANCLines",
    "GetCaptureVANCLines",
    "SetVideoOutputDownconversionMode",
    "GetVideoOutputDownconversionMode",
    "SetVideoOutputDownconversionOnAnalogOutput",
    "GetVideoOutputDownconversionOnAnalogOutput",
    "SetVideoOutputConversionOnHDMI",
    "GetVideoOutputConversionOnHDMI",
    "SetVideoInputDownconversionMode",
    "GetVideoInputDownconversionMode",
    "SetSingleFieldOutputForSynchronousFrames",
    "GetSingleFieldOutputForSynchronousFrames",
    "SetGenlockTimingOffset",
    "GetGenlockTimingOffset",
    "SetClockTimingAdjustment",
    "GetClockTimingAdjustment",
    "SetForceProgressiveVideo",
    "GetForceProgressiveVideo",
    "GetInputReferenceStatus",
    "SetAnalogueVideoOutputFormat",
    "GetAnalogueVideoOutputFormat",
    "SetAnalogueVideoOutputFlags",
    "GetAnalogueVideoOutputFlags",
    "SetComponentAnalogueOutputGainDelta",
    "GetComponentAnalogueOutputGainDelta",
    "SetCompositeAnalogueOutputGainDelta",
    "GetCompositeAnalogueOutputGainDelta",
    "SetSVideoAnalogueOutputGainDelta",
    "GetSVideoAnalogueOutputGainDelta",
    "EnableAnalogueVideoInputAntialiasFilter",
    "IsAnalogueVideoInputAntialiasFilterEnabled",
    "SetVideoInputFormat",
    "GetVideoInputFormat",
    "SetAnalogueVideoInputFlags",
    "GetAnalogueVideoInputFlags",
    "SetComponentAnalogueInputGainDelta",
    "GetComponentAnalogueInputGainDelta",
    "SetCompositeAnalogueInputGainDelta",
    "GetCompositeAnalogueInputGainDelta",
    "SetSVideoAnalogueInputGainDelta",
    "GetSVideoAnalogueInputGainDelta",
    "SetBlackVideoOutputDuringCapture",
    "GetBlackVideoOutputDuringCapture",
    "SetAFrameInputReference",
    "GetAFrameInputReference",
    "Set444And3GbpsOutputState",
    "Get444And3GbpsOutputState",
    "SetSwitchedAudioOutputFormat",
    "GetSwitchedAudioOutputFormat",
    "SetAnalogAudioConsumerLevels",
    "GetAnalogAudioConsumerLevels",
    "SetRawAnalogAudioInputScale",
    "GetRawAnalogAudioInputScale",
    "SetRawAnalogAudioOutputScale",
    "GetRawAnalogAudioOutputScale",
    "SetHDTVPulldownOnOutput",
    "GetHDTVPulldownOnOutput",
    "InstallNotificationEvents",
    "RemoveNotificationEvents",
    "AudioInputGetLevelMeter",
    "VideoInputSetAudioInputResyncToken",
    "HardwareGetCompletedInputFrame",
    "BlackOutBuffer",
};

TEST(VideoAudioExports, EveryCallIsExportedUnmangled)
{
    void* library = dlopen(QUORVALE_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_EQ(sizeof kCalls / sizeof kCalls[0], 99u);
    for (const char* name : kCalls) {
        void* symbol = dlsym(library, name);
        EXPECT_NE(symbol, nullptr) << name;
        Dl_info info{};
        if (symbol != nullptr && dladdr(symbol, &info) != 0 && info.dli_sname != nullptr) {
            EXPECT_STREQ(info.dli_sname, name);
        }
    }
    dlclose(library);
}

}  // namespace
