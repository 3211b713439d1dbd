// The shared library exports every call of the family under its plain name,
// and a C program can call them through the public header.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

extern "C" int maintenanceCallsFromC(void);

namespace {

const char* const kCalls[] = {
    "ProgramQuorvaleDeviceIdentificationEEPROM",
    "VerifyQuorvaleDeviceIdentificationEEPROMisProgrammed",
    "GetQuorvaleDeviceIdentificationEEPROMProgrammingStatus",
    "SerialOpen",
    "SerialClose",
    "SerialRead",
    "SerialWrite",
    "SerialWriteWithInterrupt",
    "SerialReadWithInterrupt",
    "SerialGetInterruptCount",
    "SerialSetRxTxSwapState",
    "SerialGetRxTxSwapState",
    "Set3dPackingFormat",
    "Get3dPackingFormat",
    "GetAPINotification",
    "PostAPINotification",
    "ReadFPGARegister",
    "WriteFPGARegister",
    "SetAlphaBlendModeOn",
    "SetAlphaBlendModeOff",
    "SetGlobalAlphaLevel",
    "PerformBlendRampUp",
    "PerformBlendRampDown",
    "SetAutoBlendSettings",
    "SetQuorvaleIdleVideoOutputOperation",
    "GetQuorvaleIdleVideoOutputOperation",
    "SetAudioMeterMode",
    "SetDriverAttribute",
    "GetDriverAttribute",
    "GetStatusInfo",
    "GetDeviceUSBConnectionProperties",
    "ForceDeviceToUSB2",
    "SetBypassState",
    "GetBypassState",
    "ReadOEMPromSegment",
    "WriteOEMPromSegment",
    "SetAudioMeterBrightness",
    "SetDVIOutputScaleToFitScreen",
    "GetDVIOutputScaleToFitScreen",
    "SetDVIOutputSDScaling",
    "GetDVIOutputSDScaling",
    "SetDVIOutputScaleIllegalYUV",
    "GetDVIOutputScaleIllegalYUV",
    "SetDVIOutputForceEDIDOverride",
    "GetDVIOutputForceEDIDOverride",
    "SetDVIOutputInterlaceSimulation",
    "GetDVIOutputInterlaceSimulation",
    "SetDVIOutputBlueOnly",
    "GetDVIOutputBlueOnly",
    "WriteConfigurationRegister",
    "ReadConfigurationRegister",
    "Write3DVideoOutputLookupTable",
    "Read3DVideoOutputLookupTable",
    "Write1DVideoOutputLookupTable",
    "Read1DVideoOutputLookupTable",
    "SetLowSpeedFanOperation",
    "GetLowSpeedFanOperation",
    "AudioInputSelectStereoChannelPair",
    "AudioOutputGetAvailableSampleSpace",
    "InsertVideoInputSyncMarker",
    "ReinitialiseQuorvaleHardware",
    "GetDriverInterfaceType",
    "ReadZelqSwitchersRegister",
    "WriteZelqSwitchersRegister",
    "GetDriverStatistics",
    "PerformDMATransfer",
    "SendMessageRequest",
    "SendBufferMessageRequest",
    "InitialiseQuorvaleEventRef",
    "DisposeQuorvaleEventRef",
    "ConvertHardwareValueToAudioGain",
    "ConvertAudioGainToHardwareValue",
    "GetDigitalAudioOutputScale",
    "GetDigitalAudioInputScale",
    "SetDigitalAudioOutputScale",
    "SetDigitalAudioInputScale",
    "GetAnalogAudioOutputScale",
    "GetAnalogAudioInputScale",
    "SetAnalogAudioOutputScale",
    "SetAnalogAudioInputScale",
};

// Defined text symbols of the library's dynamic table, without version.
std::set<std::string> exportedFunctions()
{
    const std::string command = std::string("nm -D --defined-only '") + QUORVALE_LIBRARY + "'";
    std::set<std::string> names;
    FILE* nm = popen(command.c_str(), "r");
    if (nm == nullptr)
        return names;
    char line[512];
    while (std::fgets(line, sizeof line, nm) != nullptr) {
        char type = 0;
        char name[400];
        if (std::sscanf(line, "%*s %c %399s", &type, name) != 2 || type != 'T')
            continue;
        std::string symbol(name);
        names.insert(symbol.substr(0, symbol.find('@')));
    }
    EXPECT_EQ(pclose(nm), 0) << command;
    return names;
}

TEST(ExportedCalls, EveryCallOfTheFamilyIsExportedUnmangled)
{
    const std::set<std::string> exported = exportedFunctions();
    ASSERT_FALSE(exported.empty());
    for (const char* call : kCalls)
        EXPECT_EQ(exported.count(call), 1u) << call << " is not exported";
    EXPECT_EQ(sizeof kCalls / sizeof kCalls[0], 80u);
}

TEST(ExportedCalls, NoMangledNameIsExported)
{
    for (const std::string& name : exportedFunctions())
        EXPECT_NE(name.rfind("_Z", 0), 0u) << name;
}

TEST(ExportedCalls, ACProgramCallsThemThroughThePublicHeader)
{
    EXPECT_EQ(maintenanceCallsFromC(), 0);
}

}  // namespace
