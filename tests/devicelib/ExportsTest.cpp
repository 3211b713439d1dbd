// The shared library exports every enumeration, access and information call
// under its plain C name.
#include <gtest/gtest.h>

#include <dlfcn.h>

namespace {

const char* const kExportedNames[] = {
    "CreateQuorvaleIterator", "QuorvaleIteratorNext", "ResetQuorvaleIterator",
    "ReleaseQuorvaleIterator", "QuorvaleOpenDevice", "ConnectToDriverCore",
    "ConnectToNextQuorvale", "CloseDriverConnectionCore", "MapDeviceMemoryCore",
    "GetDevicePath", "GetDriverFileDescriptor", "GetDriverName",
    "GetDriverSharedDataStructureVersion", "GetHardwareDescription",
    "GetSerialPortDescription", "VantorixGetDeviceInfo", "GetModelName", "GetSubDeviceInfo",
    "GetQuorvaleFirmwareVersion", "IsQuorvaleHardwareUsable", "GetQuorvalePersistentIdentifier",
    "GetQuorvaleTopologicalIdentifier", "GetQuorvaleDeviceBusyState",
    "VantorixGetNumSupportedAudioChannels", "GetTimerCount",
    "GetCurrentVideoInputInterruptTimestamp", "GetCurrentScheduledFrameTime",
    "GetCurrentScheduledFrameID", "GetDefaultVideoOutputMode", "SetDefaultVideoOutputMode",
    "GetVideoOutputHostApplicationTag", "SetVideoOutputHostApplicationTag",
    "GetCurrentVideoOutputInterruptTimestamp", "GetAudioOutputBufferWrapCount",
    "GetAudioInputBufferWrapCount", "gVantorixDeviceTable",
};

class QuorvaleExports : public ::testing::Test {
protected:
    void SetUp() override
    {
        library = dlopen(QUORVALE_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
    }
    void TearDown() override
    {
        if (library != nullptr)
            dlclose(library);
    }
    void* library = nullptr;
};

TEST_F(QuorvaleExports, EveryAccessAndInformationCallIsExportedUnmangled)
{
    for (const char* name : kExportedNames)
        EXPECT_NE(dlsym(library, name), nullptr) << name;
}

TEST_F(QuorvaleExports, InternalsStayHidden)
{
    EXPECT_EQ(dlsym(library, "kDeviceNameMappings"), nullptr);
    EXPECT_EQ(dlsym(library, "_ZN8quorvale12isDriverNodeERK4stat"), nullptr);
}

}  // namespace
