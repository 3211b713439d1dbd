#include "CallTable.h"

#include <type_traits>
#include <utility>

namespace videoaudio {

namespace {

using Rec = QuorvaleInstanceRec;

// Caller values: k-th unsigned and signed argument.
constexpr uint32_t U(std::size_t k) { return 0x80000001u + 0x10u * uint32_t(k); }
constexpr int32_t S(std::size_t k) { return -2 - 0x100 * int32_t(k); }
constexpr uint8_t kFlagIn = 0xA5;
// Driver answers: the k-th returned scalar; its low word has the top bit set.
constexpr uint64_t R(std::size_t k) { return 0x7700000090000001ULL + k; }
// The driver's "true" for a flag: non-zero, with a zero low byte.
constexpr uint64_t kFlagAnswer = 0x100;

constexpr uint64_t zx(uint32_t v) { return v; }
constexpr uint64_t sx(int32_t v) { return uint64_t(int64_t(v)); }

template <typename T>
T argument(std::size_t k)
{
    if constexpr (std::is_signed_v<T>)
        return S(k);
    else
        return U(k);
}

template <typename T>
uint64_t scalarOf(std::size_t k)
{
    if constexpr (std::is_signed_v<T>)
        return sx(S(k));
    else
        return zx(U(k));
}

template <typename T>
T* slot(Sink& s, std::size_t k)
{
    if constexpr (std::is_signed_v<T>)
        return &s.i[k];
    else
        return &s.u[k];
}

template <typename T>
uint64_t seen(const Sink& s, std::size_t k)
{
    if constexpr (std::is_signed_v<T>)
        return sx(s.i[k]);
    else
        return zx(s.u[k]);
}

// What the caller must find for the k-th answer R(k): its low 32 bits.
template <typename T>
uint64_t expectedOf(std::size_t k)
{
    if constexpr (std::is_signed_v<T>)
        return sx(int32_t(uint32_t(R(k))));
    else
        return zx(uint32_t(R(k)));
}

std::vector<uint8_t> le(std::initializer_list<std::pair<uint64_t, int>> fields)
{
    std::vector<uint8_t> out;
    for (const auto& [value, width] : fields) {
        for (int b = 0; b < width; ++b)
            out.push_back(uint8_t(value >> (8 * b)));
    }
    return out;
}

CallRow row(std::string name, int legacy, Route route)
{
    CallRow r;
    r.name = std::move(name);
    r.legacy = legacy;
    r.route = route;
    r.outputs = [](const Sink&) { return std::vector<uint64_t>{}; };
    return r;
}

CallRow bare(std::string name, int legacy, Route route, int (*fn)(Rec*))
{
    CallRow r = row(std::move(name), legacy, route);
    r.invoke = [fn](Rec* rec, Sink&) { return fn(rec); };
    return r;
}

// writeScalar with N caller values, signed or unsigned by the prototype.
template <typename... A, std::size_t... I>
CallRow setN(std::string name, int legacy, Route route, int (*fn)(Rec*, A...), std::index_sequence<I...>)
{
    CallRow r = row(std::move(name), legacy, route);
    r.scalarsIn = {scalarOf<A>(I)...};
    r.invoke = [fn](Rec* rec, Sink&) { return fn(rec, argument<A>(I)...); };
    return r;
}

template <typename... A>
CallRow set(std::string name, int legacy, Route route, int (*fn)(Rec*, A...))
{
    return setN(std::move(name), legacy, route, fn, std::index_sequence_for<A...>{});
}

// readScalar with N outputs.
template <typename... A, std::size_t... I>
CallRow getN(std::string name, int legacy, Route route, int (*fn)(Rec*, A*...), std::index_sequence<I...>)
{
    CallRow r = row(std::move(name), legacy, route);
    r.scalarsOut = sizeof...(A);
    r.replyScalars = {R(I)...};
    r.invoke = [fn](Rec* rec, Sink& s) { return fn(rec, slot<A>(s, I)...); };
    r.outputs = [](const Sink& s) { return std::vector<uint64_t>{seen<A>(s, I)...}; };
    r.expected = {expectedOf<A>(I)...};
    return r;
}

template <typename... A>
CallRow get(std::string name, int legacy, Route route, int (*fn)(Rec*, A*...))
{
    return getN(std::move(name), legacy, route, fn, std::index_sequence_for<A...>{});
}

CallRow setFlag(std::string name, int legacy, Route route, int (*fn)(Rec*, uint8_t))
{
    CallRow r = row(std::move(name), legacy, route);
    r.scalarsIn = {kFlagIn};
    r.invoke = [fn](Rec* rec, Sink&) { return fn(rec, kFlagIn); };
    return r;
}

CallRow getFlag(std::string name, int legacy, Route route, int (*fn)(Rec*, uint8_t*))
{
    CallRow r = row(std::move(name), legacy, route);
    r.scalarsOut = 1;
    r.replyScalars = {kFlagAnswer};
    r.invoke = [fn](Rec* rec, Sink& s) { return fn(rec, &s.flag); };
    r.outputs = [](const Sink& s) { return std::vector<uint64_t>{s.flag}; };
    r.expected = {1};
    return r;
}

CallRow queryFlag(std::string name, int legacy, Route route, int (*fn)(Rec*, uint32_t, uint8_t*))
{
    CallRow r = getFlag(std::move(name), legacy, route, nullptr);
    r.scalarsIn = {zx(U(0))};
    r.invoke = [fn](Rec* rec, Sink& s) { return fn(rec, U(0), &s.flag); };
    return r;
}

// writeScalarReadScalar with scalar inputs and u32 outputs, invoked by hand.
CallRow exchange(std::string name, int legacy, Route route, std::vector<uint64_t> in, uint32_t outCount,
                 std::function<int(Rec*, Sink&)> invoke)
{
    CallRow r = row(std::move(name), legacy, route);
    r.scalarsIn = std::move(in);
    r.scalarsOut = outCount;
    for (uint32_t k = 0; k < outCount; ++k) {
        r.replyScalars.push_back(R(k));
        r.expected.push_back(expectedOf<uint32_t>(k));
    }
    r.invoke = std::move(invoke);
    r.outputs = [outCount](const Sink& s) {
        return std::vector<uint64_t>(s.u, s.u + outCount);
    };
    return r;
}

QuorvaleFrameDescriptor patternedFrame()
{
    QuorvaleFrameDescriptor frame;
    const std::vector<uint8_t> bytes = pattern(sizeof frame, 0x30);
    std::memcpy(&frame, bytes.data(), sizeof frame);
    return frame;
}

std::vector<CallRow> buildTable()
{
    const auto renum = Route::renumbered;
    std::vector<CallRow> t;

    // Notification events and preview.
    t.push_back(set("SetVideoOutputPreviewEvent", 0x91E, Route::message("vprv"), SetVideoOutputPreviewEvent));
    t.push_back(bare("WaitForVideoOutputPreviewEvent", 0x1011, Route::message("wprv"), WaitForVideoOutputPreviewEvent));
    t.push_back(set("AbortWaitForNotificationEvents", 0x902, renum(0x90003), AbortWaitForNotificationEvents));
    t.push_back(exchange("WaitForNotificationEvents", 0x901, renum(0x90002), {zx(U(0))}, 1,
                         [](Rec* rec, Sink& s) {
                             const uint32_t events = U(0);
                             return WaitForNotificationEvents(rec, &events, &s.u[0]);
                         }));

    // Playback.
    t.push_back(set("HardwareVideoOutputOn", 0x903, renum(0x90004), HardwareVideoOutputOn));
    t.push_back(bare("HardwareVideoOutputOff", 0x904, renum(0x90005), HardwareVideoOutputOff));
    {
        CallRow r = row("HardwareScheduleFrame", 0x906, renum(0x90006));
        r.structIn = 184;
        r.structOut = 4;
        r.replyStruct = le({{0x89ABCDEF, 4}});
        r.invoke = [](Rec* rec, Sink& s) {
            const QuorvaleFrameDescriptor frame = patternedFrame();
            return HardwareScheduleFrame(rec, &frame, &s.u[0]);
        };
        r.outputs = [](const Sink& s) { return std::vector<uint64_t>{s.u[0]}; };
        r.expected = {0x89ABCDEF};
        t.push_back(r);
    }
    {
        CallRow r = row("HardwareDrawFrameNow", 0x905, renum(0x9000B));
        r.structIn = 184;
        r.invoke = [](Rec* rec, Sink&) {
            const QuorvaleFrameDescriptor frame = patternedFrame();
            return HardwareDrawFrameNow(rec, &frame);
        };
        t.push_back(r);
    }
    {
        CallRow r = row("HardwareStartScheduledPlayback", 0x907, renum(0x90008));
        r.structIn = 24;
        r.invoke = [](Rec* rec, Sink&) { return HardwareStartScheduledPlayback(rec, U(0), U(1), U(2), U(3)); };
        t.push_back(r);
        r.name = "HardwareStartScheduledPlaybackAtFieldInterrupt";
        r.invoke = [](Rec* rec, Sink&) {
            return HardwareStartScheduledPlaybackAtFieldInterrupt(rec, U(0), U(1), U(2), U(3), S(4));
        };
        t.push_back(r);
    }
    {
        // b (signed) travels first and sign-extended, then a.
        CallRow r = row("HardwareStopScheduledPlayback", 0x909, renum(0x90009));
        r.scalarsIn = {sx(S(1)), zx(U(0))};
        r.scalarsOut = 2;
        r.replyScalars = {0x80000001, 0x90000002};
        r.invoke = [](Rec* rec, Sink& s) { return HardwareStopScheduledPlayback(rec, U(0), S(1), &s.wide); };
        r.outputs = [](const Sink& s) { return std::vector<uint64_t>{s.wide}; };
        r.expected = {0x8000000190000002ULL};
        t.push_back(r);
    }
    {
        CallRow r = row("HardwareGetCompletedPlaybackFrames", 0x90A, renum(0x90007));
        r.structOut = 3 * 16;  // Sink::count is 3
        r.replyStruct = pattern(32, 0x50);
        r.invoke = [](Rec* rec, Sink& s) { return HardwareGetCompletedPlaybackFrames(rec, s.records, &s.count); };
        r.outputs = [](const Sink& s) {
            return std::vector<uint64_t>{s.count, std::memcmp(s.records, pattern(32, 0x50).data(), 32) == 0};
        };
        r.expected = {2, 1};
        t.push_back(r);
    }
    t.push_back(getFlag("IsScheduledPlaybackRunning", 0x90B, Route::message("iscr"), IsScheduledPlaybackRunning));

    // Capture.
    t.push_back(set("HardwareVideoInputOn", 0x910, renum(0x90011), HardwareVideoInputOn));
    t.push_back(bare("HardwareVideoInputOff", 0x911, renum(0x90012), HardwareVideoInputOff));
    t.push_back(get("GetVideoInputDisplayMode", 0x991, Route::message("gvid"), GetVideoInputDisplayMode));
    t.push_back(set("HardwareSetVideoInputDisplayMode", 0x912, Route::message("svid"), HardwareSetVideoInputDisplayMode));
    t.push_back(exchange("HardwareGetVideoInputFrameBufferSizeForMode", 0x913, Route::message("gisz"),
                         {zx(U(0)), zx(U(1)), zx(U(2))}, 1, [](Rec* rec, Sink& s) {
                             return HardwareGetVideoInputFrameBufferSizeForMode(rec, U(0), U(1), U(2), &s.u[0]);
                         }));
    {
        CallRow r = row("HardwareProvideFrameForVideoInput", 0x914, renum(0x90013));
        r.structIn = 184;
        r.invoke = [](Rec* rec, Sink&) {
            const QuorvaleFrameDescriptor frame = patternedFrame();
            return HardwareProvideFrameForVideoInput(rec, &frame);
        };
        t.push_back(r);
    }
    t.push_back(exchange("DoesSupportVideoInputMode", 0xA06, Route::message("dsvi"), {zx(U(0)), zx(U(1))}, 1,
                         [](Rec* rec, Sink& s) { return DoesSupportVideoInputMode(rec, U(0), U(1), &s.u[0]); }));
    {
        CallRow r = row("HardwareGetFlushedInputFrames", 0x917, renum(0x90015));
        r.structOut = 100;  // Sink::byteCount, unscaled
        r.replyStruct = pattern(40, 0x60);
        r.invoke = [](Rec* rec, Sink& s) { return HardwareGetFlushedInputFrames(rec, s.bytes, &s.byteCount); };
        r.outputs = [](const Sink& s) {
            return std::vector<uint64_t>{s.byteCount, std::memcmp(s.bytes, pattern(40, 0x60).data(), 40) == 0};
        };
        r.expected = {40, 1};
        t.push_back(r);
    }
    t.push_back(bare("RecycleCompletedVideoInputFrames", 0x918, Route::message("recy"), RecycleCompletedVideoInputFrames));
    t.push_back(bare("ResetVideoInput", 0x919, Route::message("rvdi"), ResetVideoInput));

    // Audio.
    {
        CallRow r = row("AudioOutputStart", 0x930, renum(0x9000D));
        r.structIn = 12;
        r.invoke = [](Rec* rec, Sink&) {
            const std::vector<uint8_t> parameters = pattern(12, 0x70);
            return AudioOutputStart(rec, parameters.data(), 12);
        };
        t.push_back(r);
    }
    t.push_back(bare("AudioOutputStop", 0x931, renum(0x9000E), AudioOutputStop));
    {
        CallRow r = row("AudioOutputWriteSamples", 0x932, renum(0x9000F));
        r.structIn = 32;
        r.structOut = 4;
        r.replyStruct = le({{0x89ABCDEF, 4}});
        r.invoke = [](Rec* rec, Sink& s) {
            return AudioOutputWriteSamples(rec, U(0), U(1), U(2), U(3), &s.u[0], U(4), U(5));
        };
        r.outputs = [](const Sink& s) { return std::vector<uint64_t>{s.u[0]}; };
        r.expected = {0x89ABCDEF};
        t.push_back(r);
    }
    t.push_back(get("AudioOutputGetBufferedSampleCount", 0x933, Route::message("gbsc"), AudioOutputGetBufferedSampleCount));
    t.push_back(exchange("AudioOutputGetAudioStreamTime", 0x934, Route::message("gast"), {zx(U(0))}, 2,
                         [](Rec* rec, Sink& s) { return AudioOutputGetAudioStreamTime(rec, U(0), &s.u[0], &s.u[1]); }));
    t.push_back(bare("AudioOutputWaitForInterrupt", 0x1010, Route::message("wfai"), AudioOutputWaitForInterrupt));
    t.push_back(set("AudioInputStart", 0x936, renum(0x90016), AudioInputStart));
    t.push_back(bare("AudioInputStop", 0x937, renum(0x90017), AudioInputStop));
    {
        CallRow r = row("AudioInputReadSamples", 0x938, renum(0x90018));
        r.structIn = 40;
        r.structOut = 16;
        r.replyStruct = le({{0x8877665544332211ULL, 8}, {0x90000005, 4}, {0x90000006, 4}});
        r.invoke = [](Rec* rec, Sink& s) {
            return AudioInputReadSamples(rec, U(0), U(1), &s.wide, &s.u[0], &s.u[1], U(2));
        };
        r.outputs = [](const Sink& s) { return std::vector<uint64_t>{s.wide, s.u[0], s.u[1]}; };
        r.expected = {0x8877665544332211ULL, 0x90000005, 0x90000006};
        t.push_back(r);
    }
    t.push_back(get("AudioInputGetBufferedSampleCount", 0x939, Route::message("ibsc"), AudioInputGetBufferedSampleCount));
    t.push_back(bare("AudioInputFlushBufferedSamples", 0x93A, Route::message("fluh"), AudioInputFlushBufferedSamples));
    t.push_back(set("SetAudioInputSource", 0x93D, Route::message("isrc"), SetAudioInputSource));
    t.push_back(get("GetAudioInputSource", 0x93E, Route::message("gsrc"), GetAudioInputSource));

    // Ancillary lines, conversions, fields.
    t.push_back(set("SetCaptureVANCLines", 0x976, Route::message("svan"), SetCaptureVANCLines));
    t.push_back(get("GetCaptureVANCLines", 0x977, Route::message("gvan"), GetCaptureVANCLines));
    t.push_back(set("SetVideoOutputDownconversionMode", 0x978, Route::message("sdca"), SetVideoOutputDownconversionMode));
    t.push_back(get("GetVideoOutputDownconversionMode", 0x979, Route::message("gdcm"), GetVideoOutputDownconversionMode));
    t.push_back(setFlag("SetVideoOutputDownconversionOnAnalogOutput", 0x97A, Route::message("sdao"), SetVideoOutputDownconversionOnAnalogOutput));
    t.push_back(getFlag("GetVideoOutputDownconversionOnAnalogOutput", 0x97B, Route::message("gdao"), GetVideoOutputDownconversionOnAnalogOutput));
    t.push_back(setFlag("SetVideoOutputConversionOnHDMI", 0x97C, Route::message("shdm"), SetVideoOutputConversionOnHDMI));
    t.push_back(getFlag("GetVideoOutputConversionOnHDMI", 0x97D, Route::message("ghdm"), GetVideoOutputConversionOnHDMI));
    t.push_back(set("SetVideoInputDownconversionMode", 0x97E, Route::message("sidm"), SetVideoInputDownconversionMode));
    t.push_back(get("GetVideoInputDownconversionMode", 0x97F, Route::message("gidm"), GetVideoInputDownconversionMode));
    t.push_back(setFlag("SetSingleFieldOutputForSynchronousFrames", 0x960, Route::message("sfie"), SetSingleFieldOutputForSynchronousFrames));
    t.push_back(getFlag("GetSingleFieldOutputForSynchronousFrames", 0x961, Route::message("gfie"), GetSingleFieldOutputForSynchronousFrames));

    // Timing and reference.
    t.push_back(set("SetGenlockTimingOffset", 0x980, Route::message("sgen"), SetGenlockTimingOffset));
    t.push_back(get("GetGenlockTimingOffset", 0x984, Route::message("ggen"), GetGenlockTimingOffset));
    t.push_back(set("SetClockTimingAdjustment", 0x985, Route::message("scta"), SetClockTimingAdjustment));
    t.push_back(get("GetClockTimingAdjustment", 0x986, Route::message("gcta"), GetClockTimingAdjustment));
    t.push_back(set("SetForceProgressiveVideo", 0x982, Route::message("spro"), SetForceProgressiveVideo));
    t.push_back(get("GetForceProgressiveVideo", 0x983, Route::message("gpro"), GetForceProgressiveVideo));
    t.push_back(get("GetInputReferenceStatus", 0x981, Route::message("iref"), GetInputReferenceStatus));

    // Analogue video output.
    t.push_back(set("SetAnalogueVideoOutputFormat", 0x941, Route::message("savf"), SetAnalogueVideoOutputFormat));
    t.push_back(queryFlag("GetAnalogueVideoOutputFormat", 0x942, Route::message("gavf"), GetAnalogueVideoOutputFormat));
    t.push_back(set("SetAnalogueVideoOutputFlags", 0x943, Route::message("sfla"), SetAnalogueVideoOutputFlags));
    t.push_back(get("GetAnalogueVideoOutputFlags", 0x944, Route::message("gfla"), GetAnalogueVideoOutputFlags));
    t.push_back(set("SetComponentAnalogueOutputGainDelta", 0x966, Route::message("spag"), SetComponentAnalogueOutputGainDelta));
    t.push_back(get("GetComponentAnalogueOutputGainDelta", 0x967, Route::message("gcag"), GetComponentAnalogueOutputGainDelta));
    t.push_back(set("SetCompositeAnalogueOutputGainDelta", 0x968, Route::message("scao"), SetCompositeAnalogueOutputGainDelta));
    t.push_back(get("GetCompositeAnalogueOutputGainDelta", 0x969, Route::message("gcao"), GetCompositeAnalogueOutputGainDelta));
    t.push_back(set("SetSVideoAnalogueOutputGainDelta", 0x96A, Route::message("saog"), SetSVideoAnalogueOutputGainDelta));
    t.push_back(get("GetSVideoAnalogueOutputGainDelta", 0x96B, Route::message("gaog"), GetSVideoAnalogueOutputGainDelta));

    // Analogue video input.
    t.push_back(setFlag("EnableAnalogueVideoInputAntialiasFilter", 0x972, Route::message("avaa"), EnableAnalogueVideoInputAntialiasFilter));
    t.push_back(getFlag("IsAnalogueVideoInputAntialiasFilterEnabled", 0x973, Route::message("evaa"), IsAnalogueVideoInputAntialiasFilterEnabled));
    t.push_back(set("SetVideoInputFormat", 0x945, Route::message("svis"), SetVideoInputFormat));
    t.push_back(get("GetVideoInputFormat", 0x946, Route::message("gvis"), GetVideoInputFormat));
    t.push_back(set("SetAnalogueVideoInputFlags", 0x947, Route::message("saif"), SetAnalogueVideoInputFlags));
    t.push_back(get("GetAnalogueVideoInputFlags", 0x948, Route::message("gaif"), GetAnalogueVideoInputFlags));
    t.push_back(set("SetComponentAnalogueInputGainDelta", 0x96C, Route::message("scig"), SetComponentAnalogueInputGainDelta));
    t.push_back(get("GetComponentAnalogueInputGainDelta", 0x96D, Route::message("gcig"), GetComponentAnalogueInputGainDelta));
    t.push_back(set("SetCompositeAnalogueInputGainDelta", 0x96E, Route::message("scai"), SetCompositeAnalogueInputGainDelta));
    t.push_back(get("GetCompositeAnalogueInputGainDelta", 0x96F, Route::message("gcai"), GetCompositeAnalogueInputGainDelta));
    t.push_back(set("SetSVideoAnalogueInputGainDelta", 0x970, Route::message("ssig"), SetSVideoAnalogueInputGainDelta));
    t.push_back(get("GetSVideoAnalogueInputGainDelta", 0x971, Route::message("gsig"), GetSVideoAnalogueInputGainDelta));

    // Output during capture, reference, 4:4:4.
    t.push_back(setFlag("SetBlackVideoOutputDuringCapture", 0x964, Route::message("sbdc"), SetBlackVideoOutputDuringCapture));
    t.push_back(getFlag("GetBlackVideoOutputDuringCapture", 0x965, Route::message("gdbc"), GetBlackVideoOutputDuringCapture));
    t.push_back(set("SetAFrameInputReference", 0x974, Route::message("sref"), SetAFrameInputReference));
    t.push_back(get("GetAFrameInputReference", 0x975, Route::message("gref"), GetAFrameInputReference));
    t.push_back(set("Set444And3GbpsOutputState", 0x949, Route::message("s444"), Set444And3GbpsOutputState));
    t.push_back(get("Get444And3GbpsOutputState", 0x94A, Route::message("g444"), Get444And3GbpsOutputState));

    // Audio formats and levels.
    t.push_back(set("SetSwitchedAudioOutputFormat", 0x950, Route::message("saof"), SetSwitchedAudioOutputFormat));
    t.push_back(queryFlag("GetSwitchedAudioOutputFormat", 0x951, Route::message("gaof"), GetSwitchedAudioOutputFormat));
    t.push_back(setFlag("SetAnalogAudioConsumerLevels", 0x94B, Route::message("sacl"), SetAnalogAudioConsumerLevels));
    t.push_back(getFlag("GetAnalogAudioConsumerLevels", 0x952, Route::message("gacl"), GetAnalogAudioConsumerLevels));
    t.push_back(set("SetRawAnalogAudioInputScale", 0x94C, Route::message("sais"), SetRawAnalogAudioInputScale));
    t.push_back(get("GetRawAnalogAudioInputScale", 0x953, Route::message("gais"), GetRawAnalogAudioInputScale));
    t.push_back(set("SetRawAnalogAudioOutputScale", 0x94D, Route::message("saos"), SetRawAnalogAudioOutputScale));
    t.push_back(get("GetRawAnalogAudioOutputScale", 0x954, Route::message("gaos"), GetRawAnalogAudioOutputScale));
    t.push_back(setFlag("SetHDTVPulldownOnOutput", 0x962, Route::message("spul"), SetHDTVPulldownOnOutput));
    t.push_back(getFlag("GetHDTVPulldownOnOutput", 0x963, Route::message("gpul"), GetHDTVPulldownOnOutput));
    return t;
}

}  // namespace

std::vector<uint8_t> pattern(std::size_t size, uint8_t seed)
{
    std::vector<uint8_t> bytes(size);
    for (std::size_t k = 0; k < size; ++k)
        bytes[k] = uint8_t(seed + 7 * k);
    return bytes;
}

const std::vector<CallRow>& callTable()
{
    static const std::vector<CallRow> table = buildTable();
    return table;
}

}  // namespace videoaudio
