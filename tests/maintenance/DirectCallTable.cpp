#include "DirectCallTable.h"

#include <gtest/gtest.h>

namespace maintenance_test {

namespace {

std::vector<uint8_t> word(uint32_t v)
{
    return bytesOf(&v, sizeof v);
}

std::vector<uint8_t> words(std::initializer_list<uint32_t> values)
{
    std::vector<uint8_t> out;
    for (uint32_t v : values) {
        const std::vector<uint8_t> w = word(v);
        out.insert(out.end(), w.begin(), w.end());
    }
    return out;
}

const std::vector<uint8_t> kSentinelWord(4, 0xA5);
const std::vector<uint8_t> kSentinel16(16, 0xA5);
const std::vector<uint8_t> kSegment = counting(16, 0x30);

// Get calls: the driver's answer lands in the caller's output unchanged.
void answeredWord(const Outputs& o)
{
    EXPECT_EQ(bytesOf(&o.word[0], 4), answer(4));
    EXPECT_EQ(o.word[1], 0xA5A5A5A5u);
}

void answeredBuffer(const Outputs& o)
{
    EXPECT_EQ(bytesOf(o.bytes, 16), answer(16));
    EXPECT_EQ(o.bytes[16], 0xA5);
}

// Read lookup-table calls: enable is the truth of the answer's first word.
void answeredEnable(const Outputs& o)
{
    EXPECT_EQ(o.flag, 1);
}

using R = QuorvaleInstanceRec*;
using O = Outputs&;

DirectRow set(const char* name, unsigned long request, int (*call)(R, uint32_t), uint32_t value)
{
    return {name, request, true, word(value), false,
            [call, value](R r, O) { return call(r, value); }, nullptr, nullptr};
}

DirectRow get(const char* name, unsigned long request, int (*call)(R, uint32_t*))
{
    return {name, request, true, kSentinelWord, true,
            [call](R r, O o) { return call(r, &o.word[0]); },
            [call](R r) { return call(r, nullptr); }, answeredWord};
}

}  // namespace

const uint8_t* lookupTable()
{
    static const std::vector<uint8_t> table = counting(16384, 0);
    return table.data();
}

uint32_t lookupTableAddress()
{
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(lookupTable()));
}

std::vector<uint8_t> answer(std::size_t size)
{
    std::vector<uint8_t> out = counting(size, 0x11);
    const std::vector<uint8_t> first = word(0x100);
    for (std::size_t i = 0; i < size && i < 4; ++i)
        out[i] = first[i];
    return out;
}

std::vector<DirectRow> directRows()
{
    const uint32_t table = lookupTableAddress();
    return {
        {"GetDeviceUSBConnectionProperties", 0x9E2, true, kSentinel16, false,
         [](R r, O o) { return GetDeviceUSBConnectionProperties(r, o.bytes); }, nullptr, answeredBuffer},
        {"ForceDeviceToUSB2", 0x9E1, false, {}, false, [](R r, O) { return ForceDeviceToUSB2(r); },
         nullptr, nullptr},
        set("SetBypassState", 0xA01, SetBypassState, 0x01020304),
        get("GetBypassState", 0xA00, GetBypassState),
        {"ReadOEMPromSegment", 0x9D6, true, kSentinel16, false,
         [](R r, O o) { return ReadOEMPromSegment(r, o.bytes); }, nullptr, answeredBuffer},
        {"WriteOEMPromSegment", 0x9D5, true, kSegment, false,
         [](R r, O) { return WriteOEMPromSegment(r, kSegment.data()); }, nullptr, nullptr},
        set("SetAudioMeterBrightness", 0x9D3, SetAudioMeterBrightness, 0xC8),
        set("SetDVIOutputScaleToFitScreen", 0x9CB, SetDVIOutputScaleToFitScreen, 1),
        get("GetDVIOutputScaleToFitScreen", 0x9CA, GetDVIOutputScaleToFitScreen),
        set("SetDVIOutputSDScaling", 0x9C9, SetDVIOutputSDScaling, 2),
        get("GetDVIOutputSDScaling", 0x9C8, GetDVIOutputSDScaling),
        set("SetDVIOutputScaleIllegalYUV", 0x9C7, SetDVIOutputScaleIllegalYUV, 3),
        get("GetDVIOutputScaleIllegalYUV", 0x9C6, GetDVIOutputScaleIllegalYUV),
        set("SetDVIOutputForceEDIDOverride", 0x9C5, SetDVIOutputForceEDIDOverride, 4),
        get("GetDVIOutputForceEDIDOverride", 0x9C4, GetDVIOutputForceEDIDOverride),
        set("SetDVIOutputInterlaceSimulation", 0x9C3, SetDVIOutputInterlaceSimulation, 5),
        get("GetDVIOutputInterlaceSimulation", 0x9C2, GetDVIOutputInterlaceSimulation),
        set("SetDVIOutputBlueOnly", 0x9C1, SetDVIOutputBlueOnly, 0xFFFFFFFF),
        get("GetDVIOutputBlueOnly", 0x9C0, GetDVIOutputBlueOnly),
        set("WriteConfigurationRegister", 0x9A5, WriteConfigurationRegister, 0xCAFEF00D),
        get("ReadConfigurationRegister", 0x9A4, ReadConfigurationRegister),
        {"Write3DVideoOutputLookupTable", 0x98C, true, words({1, table}), false,
         [](R r, O) { return Write3DVideoOutputLookupTable(r, 1, lookupTable(), 16384); }, nullptr,
         nullptr},
        {"Read3DVideoOutputLookupTable", 0x98D, true, words({0, table}), false,
         [](R r, O o) {
             return Read3DVideoOutputLookupTable(r, &o.flag, const_cast<uint8_t*>(lookupTable()), 16384);
         },
         nullptr, answeredEnable},
        {"Write1DVideoOutputLookupTable", 0x98A, true, words({0xFF, 0x1000, 0x2000, 0x3000}), false,
         [](R r, O) { return Write1DVideoOutputLookupTable(r, 0xFF, 0x1000, 0x2000, 0x3000); }, nullptr,
         nullptr},
        {"Read1DVideoOutputLookupTable", 0x98B, true, words({0, 0x1000, 0x2000, 0x3000}), false,
         [](R r, O o) { return Read1DVideoOutputLookupTable(r, &o.flag, 0x1000, 0x2000, 0x3000); },
         nullptr, answeredEnable},
        {"SetLowSpeedFanOperation", 0x997, true, words({0xFE}), false,
         [](R r, O) { return SetLowSpeedFanOperation(r, 0xFE); }, nullptr, nullptr},
        get("GetLowSpeedFanOperation", 0x998, GetLowSpeedFanOperation),
        set("AudioInputSelectStereoChannelPair", 0x93C, AudioInputSelectStereoChannelPair, 3),
        get("AudioOutputGetAvailableSampleSpace", 0x935, AudioOutputGetAvailableSampleSpace),
        set("InsertVideoInputSyncMarker", 0x91A, InsertVideoInputSyncMarker, 0x5A5A),
        set("ReinitialiseQuorvaleHardware", 0x995, ReinitialiseQuorvaleHardware, 1),
    };
}

}  // namespace maintenance_test
