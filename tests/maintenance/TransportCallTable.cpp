#include "TransportCallTable.h"

#include <gtest/gtest.h>

#include <cmath>

namespace maintenance_test {

namespace {

const std::vector<uint8_t> kData = counting(100, 1);

double gainOf(uint64_t scalar)
{
    return 20.0 * std::log10(static_cast<uint32_t>(scalar) / 128.0);
}

std::vector<uint8_t> u64s(std::initializer_list<uint64_t> values)
{
    std::vector<uint8_t> out;
    for (uint64_t v : values)
        for (unsigned i = 0; i < 8; ++i)
            out.push_back(static_cast<uint8_t>(v >> (8 * i)));
    return out;
}

std::vector<uint8_t> u32s(std::initializer_list<uint32_t> values)
{
    std::vector<uint8_t> out;
    for (uint32_t v : values)
        for (unsigned i = 0; i < 4; ++i)
            out.push_back(static_cast<uint8_t>(v >> (8 * i)));
    return out;
}

std::vector<uint8_t> serialRecord(uint32_t count, uint32_t extra, const std::vector<uint8_t>& data)
{
    std::vector<uint8_t> out = u32s({count, extra});
    out.insert(out.end(), data.begin(), data.end());
    out.resize(72, 0);
    return out;
}

void expectWords(const Outputs& o, unsigned n)
{
    const auto& r = replyScalars();
    for (unsigned i = 0; i < n; ++i)
        EXPECT_EQ(o.word[i], static_cast<uint32_t>(r[i])) << "output " << i;
    for (unsigned i = n; i < 4; ++i)
        EXPECT_EQ(o.word[i], 0xA5A5A5A5u) << "output " << i << " must stay untouched";
}

void expectGains(const Outputs& o, unsigned n)
{
    const auto& r = replyScalars();
    for (unsigned i = 0; i < n; ++i)
        EXPECT_DOUBLE_EQ(o.gain[i], gainOf(r[i])) << "gain " << i;
}

void expectBytes(const Outputs& o, const std::vector<uint8_t>& expected)
{
    EXPECT_EQ(bytesOf(o.bytes, expected.size()), expected);
    EXPECT_EQ(o.bytes[expected.size()], 0xA5) << "nothing beyond the reply";
}

void nothing(const Outputs& o)
{
    EXPECT_TRUE(o.untouched());
}

}  // namespace

std::vector<TransportRow> transportRows()
{
    using R = QuorvaleInstanceRec*;
    using O = Outputs&;
    const std::vector<uint8_t> six = counting(6, 'a');
    return {
        {"ProgramQuorvaleDeviceIdentificationEEPROM", 0x9A2, renumbered(0x9001E), {},
         u64s({0x11111111, 0x33333333, 0x22222222, 0xFFFFFFFF}), 0, 0, {},
         [](R r, O) { return ProgramQuorvaleDeviceIdentificationEEPROM(r, 0x11111111, 0x22222222, 0x33333333, 0xFFFFFFFF); },
         nothing},
        {"VerifyQuorvaleDeviceIdentificationEEPROMisProgrammed", 0x9A6, message("vrfy"), {}, {}, 0, 0, {},
         [](R r, O) { return VerifyQuorvaleDeviceIdentificationEEPROMisProgrammed(r); }, nothing},
        {"GetQuorvaleDeviceIdentificationEEPROMProgrammingStatus", 0x9A3, message("psta"), {}, {}, 3, 0, {},
         [](R r, O o) { return GetQuorvaleDeviceIdentificationEEPROMProgrammingStatus(r, &o.word[0], &o.word[1], &o.word[2]); },
         [](const Outputs& o) { expectWords(o, 3); }},
        {"SerialOpen", 0x9D7, renumbered(0x9001A), {0x9600}, {}, 0, 0, {},
         [](R r, O) { return SerialOpen(r, 0x9600); }, nothing},
        {"SerialClose", 0x9D8, renumbered(0x9001B), {}, {}, 0, 0, {},
         [](R r, O) { return SerialClose(r); }, nothing},
        {"SerialRead", 0x9D9, renumbered(0x9001C), {}, {}, 0, 10, six,
         [](R r, O o) { return SerialRead(r, o.bytes, 10, &o.word[0]); },
         [six](const Outputs& o) { EXPECT_EQ(o.word[0], 6u); expectBytes(o, six); }},
        {"SerialWrite", 0x9DA, renumbered(0x9001D), {}, std::vector<uint8_t>(kData.begin(), kData.begin() + 5), 0, 4,
         u32s({0x01020304}),
         [](R r, O o) { return SerialWrite(r, kData.data(), 5, &o.word[0]); },
         [](const Outputs& o) { EXPECT_EQ(o.word[0], 0x01020304u); EXPECT_EQ(o.word[1], 0xA5A5A5A5u); }},
        {"SerialWriteWithInterrupt", 0x9DB, renumbered(0x90022), {},
         serialRecord(5, 0x77, std::vector<uint8_t>(kData.begin(), kData.begin() + 5)), 0, 4, u32s({0x0A0B0C0D}),
         [](R r, O o) { return SerialWriteWithInterrupt(r, kData.data(), 5, &o.word[0], 0x77); },
         [](const Outputs& o) { EXPECT_EQ(o.word[0], 0x0A0B0C0Du); }},
        {"SerialReadWithInterrupt", 0x9DC, renumbered(0x90021), {}, u32s({10}), 0, 72, serialRecord(6, 0x99, six),
         [](R r, O o) { return SerialReadWithInterrupt(r, o.bytes, 10, &o.word[0], &o.word[1]); },
         [six](const Outputs& o) { EXPECT_EQ(o.word[0], 6u); EXPECT_EQ(o.word[1], 0x99u); expectBytes(o, six); }},
        {"SerialGetInterruptCount", 0x9DD, message("sint"), {}, {}, 1, 0, {},
         [](R r, O o) { return SerialGetInterruptCount(r, &o.word[0]); },
         [](const Outputs& o) { expectWords(o, 1); }},
        {"SerialSetRxTxSwapState", 0x9DE, message("rxtx"), {1}, {}, 0, 0, {},
         [](R r, O) { return SerialSetRxTxSwapState(r, 1); }, nothing},
        {"SerialGetRxTxSwapState", 0x9DF, message("sxtx"), {}, {}, 1, 0, {},
         [](R r, O o) { return SerialGetRxTxSwapState(r, &o.flag); },
         [](const Outputs& o) { EXPECT_EQ(o.flag, 1) << "a truth value, not the low byte 0x00"; }},
        {"Set3dPackingFormat", 0x99C, message("s3dp"), {7}, {}, 0, 0, {},
         [](R r, O) { return Set3dPackingFormat(r, 7); }, nothing},
        {"Get3dPackingFormat", 0x99B, message("g3dp"), {}, {}, 1, 0, {},
         [](R r, O o) { return Get3dPackingFormat(r, &o.word[0]); },
         [](const Outputs& o) { expectWords(o, 1); }},
        {"GetAPINotification", 0x9F0, renumbered(0x9001F), {}, {}, 0, 32, six,
         [](R r, O o) { return GetAPINotification(r, o.bytes, &o.size); },
         [six](const Outputs& o) { EXPECT_EQ(o.size, 6u); expectBytes(o, six); }},
        {"PostAPINotification", 0x9F1, renumbered(0x90020), {}, std::vector<uint8_t>(kData.begin(), kData.begin() + 12), 0, 0, {},
         [](R r, O) { return PostAPINotification(r, kData.data(), 12); }, nothing},
        {"ReadFPGARegister", 0x9A0, message("rreg"), {0x40}, {}, 1, 0, {},
         [](R r, O o) { return ReadFPGARegister(r, 0x40, &o.word[0]); },
         [](const Outputs& o) { expectWords(o, 1); }},
        {"WriteFPGARegister", 0x9A1, message("wreg"), {0x40, 0xDEADBEEF}, {}, 0, 0, {},
         [](R r, O) { return WriteFPGARegister(r, 0x40, 0xDEADBEEF); }, nothing},
        {"SetAlphaBlendModeOn", 0x9B0, message("abon"), {2}, {}, 0, 0, {},
         [](R r, O) { return SetAlphaBlendModeOn(r, 2); }, nothing},
        {"SetAlphaBlendModeOff", 0x9B1, message("aoff"), {}, {}, 0, 0, {},
         [](R r, O) { return SetAlphaBlendModeOff(r); }, nothing},
        {"SetGlobalAlphaLevel", 0x9B2, message("galf"), {200}, {}, 0, 0, {},
         [](R r, O) { return SetGlobalAlphaLevel(r, 200); }, nothing},
        {"PerformBlendRampUp", 0x9B3, message("ramp"), {30}, {}, 0, 0, {},
         [](R r, O) { return PerformBlendRampUp(r, 30); }, nothing},
        {"PerformBlendRampDown", 0x9B4, message("dram"), {40}, {}, 0, 0, {},
         [](R r, O) { return PerformBlendRampDown(r, 40); }, nothing},
        {"SetAutoBlendSettings", 0x9B5, message("abse"), {1, 2, 3, 0xFFFFFFFF}, {}, 0, 0, {},
         [](R r, O) { return SetAutoBlendSettings(r, 1, 2, 3, 0xFFFFFFFF); }, nothing},
        {"SetQuorvaleIdleVideoOutputOperation", 0x9D0, message("sivo"), {3}, {}, 0, 0, {},
         [](R r, O) { return SetQuorvaleIdleVideoOutputOperation(r, 3); }, nothing},
        {"GetQuorvaleIdleVideoOutputOperation", 0x9D1, message("givo"), {}, {}, 1, 0, {},
         [](R r, O o) { return GetQuorvaleIdleVideoOutputOperation(r, &o.word[0]); },
         [](const Outputs& o) { expectWords(o, 1); }},
        {"SetAudioMeterMode", 0x9D1, message("givo"), {6}, {}, 0, 0, {},
         [](R r, O) { return SetAudioMeterMode(r, 6); }, nothing},
        {"SetDriverAttribute", 0xA04, message("satr"), {0x80000001, 0x5566778811223344ULL}, {}, 0, 0, {},
         [](R r, O) { return SetDriverAttribute(r, 0x80000001, 0x11223344, 0x55667788); }, nothing},
        {"GetDriverAttribute", 0xA05, message("gatr"), {9}, {}, 1, 0, {},
         [](R r, O o) { return GetDriverAttribute(r, 9, &o.word[0]); },
         [](const Outputs& o) { expectWords(o, 1); }},
        {"GetStatusInfo", 0xA07, message("stat"), {1, 2, 3, 0xFFFFFFFF}, {}, 3, 0, {},
         [](R r, O o) { return GetStatusInfo(r, 1, 2, 3, 0xFFFFFFFF, &o.word[0], &o.word[1], &o.word[2]); },
         [](const Outputs& o) { expectWords(o, 3); }},
        {"GetDigitalAudioOutputScale", 0x956, message("gdos"), {}, {}, 1, 0, {},
         [](R r, O o) { return GetDigitalAudioOutputScale(r, &o.gain[0]); },
         [](const Outputs& o) { expectGains(o, 1); }},
        {"SetDigitalAudioOutputScale", 0x94F, message("sdos"), {64}, {}, 0, 0, {},
         [](R r, O) { return SetDigitalAudioOutputScale(r, -6.0); }, nothing},
        {"GetDigitalAudioInputScale", 0x955, message("gdis"), {}, {}, 1, 0, {},
         [](R r, O o) { return GetDigitalAudioInputScale(r, &o.gain[0]); },
         [](const Outputs& o) { expectGains(o, 1); }},
        {"SetDigitalAudioInputScale", 0x94E, message("sdis"), {256}, {}, 0, 0, {},
         [](R r, O) { return SetDigitalAudioInputScale(r, 20.0 * std::log10(2.0) + 1e-9); }, nothing},
        {"GetAnalogAudioOutputScale", 0x954, message("gaos"), {}, {}, 4, 0, {},
         [](R r, O o) { return GetAnalogAudioOutputScale(r, &o.gain[0], &o.gain[1], &o.gain[2], &o.gain[3]); },
         [](const Outputs& o) { expectGains(o, 4); }},
        {"SetAnalogAudioOutputScale", 0x94D, message("saos"), {128, 64, 32, 0}, {}, 0, 0, {},
         [](R r, O) { return SetAnalogAudioOutputScale(r, 0.0, -6.0, -12.0, -200.0); }, nothing},
        {"GetAnalogAudioInputScale", 0x953, message("gais"), {}, {}, 4, 0, {},
         [](R r, O o) { return GetAnalogAudioInputScale(r, &o.gain[0], &o.gain[1], &o.gain[2], &o.gain[3]); },
         [](const Outputs& o) { expectGains(o, 4); }},
        {"SetAnalogAudioInputScale", 0x94C, message("sais"), {256, 128, 64, 1}, {}, 0, 0, {},
         [](R r, O) { return SetAnalogAudioInputScale(r, 6.0206, 0.0, -6.0, -42.0); }, nothing},
        {"GetDriverStatistics", 0x9000C, renumbered(0x9000C), {}, counting(24, 0x40), 0, 24, counting(24, 0x80),
         [](R r, O o) { return GetDriverStatistics(r, &o.statistics); },
         [](const Outputs& o) { EXPECT_EQ(bytesOf(&o.statistics, 24), counting(24, 0x80)); }},
        {"PerformDMATransfer", 0x9000A, renumbered(0x9000A), {}, counting(24, 0x40), 0, 0, {},
         [](R r, O) {
             QuorvaleDMATransferRec transfer;
             std::memcpy(&transfer, counting(24, 0x40).data(), sizeof transfer);
             return PerformDMATransfer(r, &transfer);
         },
         nothing},
    };
}

}  // namespace maintenance_test
