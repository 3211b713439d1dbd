/*
 * Playback, capture, audio and timing calls.
 *
 * Every call takes an open device first and returns an int status: 0 on
 * success, 1 for a null device (or a device without transport), otherwise
 * the driver's status unchanged (-1 for a failed ioctl, 1002 for a request
 * the newer driver cannot carry). Outputs are written only on status 0; null
 * output pointers are skipped where a call takes a local copy first.
 *
 * Value conventions: plain settings are uint32_t (zero-extended on their way
 * to the driver); the six Set...GainDelta calls take int32_t (sign-extended);
 * on/off settings are uint8_t, and the driver's answer to them is 1 for any
 * non-zero value.
 *
 * The records below are the driver's. Only their sizes are fixed by it, and
 * the sizes are checked for the 32-bit x86 build, which is the product; the
 * field names are this library's reading of them. Records that only travel
 * through the library keep their reserved words so that they round-trip
 * byte for byte.
 */
#ifndef QUORVALE_VIDEO_AUDIO_H
#define QUORVALE_VIDEO_AUDIO_H

#include <stddef.h>

#include "QuorvaleTypes.h"

#ifdef __cplusplus
#define QUORVALE_LAYOUT_CHECK(cond, text) static_assert(cond, text)
#else
#define QUORVALE_LAYOUT_CHECK(cond, text) _Static_assert(cond, text)
#endif

QUORVALE_BEGIN_DECLS

/* ---- Driver records ----------------------------------------------------- */

/* One frame handed to the driver for playback (scheduled or drawn now) or
 * offered to it for capture. 184 bytes. */
typedef struct QuorvaleFrameDescriptor {
    uint64_t buffer;               /* the picture's address */
    uint64_t ancillaryBuffer;      /* ancillary lines, 0 when none */
    uint64_t displayTime;
    uint64_t displayDuration;
    uint64_t timeScale;
    uint32_t frameId;
    uint32_t flags;
    uint32_t width;
    uint32_t height;
    uint32_t rowBytes;
    uint32_t pixelFormat;
    uint32_t ancillaryRowBytes;
    uint32_t ancillaryPixelFormat;
    uint32_t ancillaryLineCount;
    uint32_t timecode[6];
    uint32_t reserved[21];
} QuorvaleFrameDescriptor;
QUORVALE_LAYOUT_CHECK(sizeof(QuorvaleFrameDescriptor) == 184, "frame descriptor is 184 bytes");

/* One played-out frame as HardwareGetCompletedPlaybackFrames returns it. */
typedef struct QuorvaleCompletionRec {
    uint32_t frameId;
    uint32_t result;
    uint64_t completionTime;
} QuorvaleCompletionRec;
QUORVALE_LAYOUT_CHECK(sizeof(QuorvaleCompletionRec) == 16, "completion record is 16 bytes");

/* Flag of QuorvaleCompletedInputFrameRec.flags: the separate second field
 * goes to the odd rows (1, 3, ...) rather than the even ones. */
enum { kQuorvaleSecondFieldOnSecondRow = 16 };

/* One captured frame as the driver reports it (request 0x916). 160 bytes. */
typedef struct QuorvaleCompletedInputFrameRec {
    uint64_t frameBuffer;          /*   0 the picture, a buffer the caller provided */
    uint64_t secondFieldBuffer;    /*   8 the second field captured apart, 0 when none */
    uint64_t streamTime;           /*  16 */
    uint64_t hardwareTime;         /*  24 */
    uint32_t frameIndex;           /*  32 */
    uint32_t flags;                /*  36 kQuorvaleSecondFieldOnSecondRow */
    uint32_t droppedFrames;        /*  40 */
    uint32_t displayMode;          /*  44 */
    uint32_t width;                /*  48 */
    uint32_t height;               /*  52 picture rows */
    uint32_t rowBytes;             /*  56 bytes per picture row */
    uint32_t pixelFormat;          /*  60 the picture's pixel format */
    uint32_t ancillaryPixelFormat; /*  64 the ancillary area's pixel format */
    uint32_t ancillaryRowBytes;    /*  68 bytes per ancillary line */
    uint32_t ancillaryLineCount;   /*  72 */
    uint32_t firstBlankCount;      /*  76 ancillary lines blanked from line 0 */
    uint32_t firstBlankOffset;     /*  80 where the second blanked range starts */
    uint32_t secondBlankCount;     /*  84 */
    uint32_t secondBlankOffset;    /*  88 third range: first + second offset */
    uint32_t thirdBlankCount;      /*  92 */
    int16_t lineIndex[3];          /*  96 ancillary lines copied over rows 0..2, negative: none */
    uint16_t reserved0;            /* 102 */
    uint32_t timecode[6];          /* 104 */
    uint32_t reserved[8];          /* 128 */
} QuorvaleCompletedInputFrameRec;
QUORVALE_LAYOUT_CHECK(sizeof(QuorvaleCompletedInputFrameRec) == 160,
                      "completed input frame record is 160 bytes");
QUORVALE_LAYOUT_CHECK(offsetof(QuorvaleCompletedInputFrameRec, lineIndex) == 96,
                      "line indexes follow the blanking words");

/* The ancillary area of a captured frame, handed back by
 * HardwareGetCompletedInputFrame. Nine words in the 32-bit build. */
typedef struct QuorvaleAncillaryDescription {
    void* data;                    /* just past the picture: frame + rowBytes * height */
    uint32_t rowBytes;
    uint32_t pixelFormat;
    uint32_t lineCount;
    uint32_t firstBlankCount;
    uint32_t firstBlankOffset;
    uint32_t secondBlankCount;
    uint32_t secondBlankOffset;
    uint32_t thirdBlankCount;
} QuorvaleAncillaryDescription;
QUORVALE_LAYOUT_CHECK(sizeof(void*) != 4 || sizeof(QuorvaleAncillaryDescription) == 36,
                      "ancillary description is nine words");

/* Start of scheduled playback (request 0x907). 24 bytes. */
typedef struct QuorvalePlaybackStartRec {
    uint32_t a;
    uint32_t b;
    uint32_t c;
    uint32_t d;
    int32_t fieldInterrupt;        /* -1: no field-interrupt choice */
    uint32_t unused;               /* never set by the library */
} QuorvalePlaybackStartRec;
QUORVALE_LAYOUT_CHECK(sizeof(QuorvalePlaybackStartRec) == 24, "playback start is 24 bytes");

/* Audio samples for playback (request 0x932). 32 bytes. */
typedef struct QuorvaleAudioWriteSamplesRec {
    uint64_t a;
    uint64_t b;
    uint32_t c;
    uint32_t d;
    uint32_t f;
    uint32_t g;
} QuorvaleAudioWriteSamplesRec;
QUORVALE_LAYOUT_CHECK(sizeof(QuorvaleAudioWriteSamplesRec) == 32, "write-samples record is 32 bytes");

/* Captured audio request (request 0x938). 40 bytes. */
typedef struct QuorvaleAudioReadSamplesRec {
    uint64_t a;
    uint32_t b;
    uint32_t inOut;                /* the caller's value at inOut, when given */
    uint32_t e;
    uint8_t unused[20];            /* never set by the library */
} QuorvaleAudioReadSamplesRec;
QUORVALE_LAYOUT_CHECK(sizeof(QuorvaleAudioReadSamplesRec) == 40, "read-samples record is 40 bytes");

/* The driver's answer to a read-samples request. 16 bytes. */
typedef struct QuorvaleAudioReadSamplesResultRec {
    uint64_t time;
    uint32_t count;
    uint32_t finalValue;
} QuorvaleAudioReadSamplesResultRec;
QUORVALE_LAYOUT_CHECK(sizeof(QuorvaleAudioReadSamplesResultRec) == 16,
                      "read-samples result is 16 bytes");

/* ---- Notification events ------------------------------------------------ */

/* No driver traffic: the value goes into the handle; returns 0. */
QUORVALE_EXPORT int InstallNotificationEvents(QuorvaleInstanceRec* rec, uint32_t* handle, uint32_t value);
/* No driver traffic: the handle becomes 0; returns 0. */
QUORVALE_EXPORT int RemoveNotificationEvents(QuorvaleInstanceRec* rec, uint32_t* handle);
/* Waits for the events named by *events; 1002 (not 1) without a device. */
QUORVALE_EXPORT int WaitForNotificationEvents(QuorvaleInstanceRec* rec, const uint32_t* events, uint32_t* result);
QUORVALE_EXPORT int AbortWaitForNotificationEvents(QuorvaleInstanceRec* rec, uint32_t events);

/* ---- Video output -------------------------------------------------------- */

QUORVALE_EXPORT int SetVideoOutputPreviewEvent(QuorvaleInstanceRec* rec, uint32_t event);
QUORVALE_EXPORT int WaitForVideoOutputPreviewEvent(QuorvaleInstanceRec* rec);
QUORVALE_EXPORT int HardwareVideoOutputOn(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b);
QUORVALE_EXPORT int HardwareVideoOutputOff(QuorvaleInstanceRec* rec);
/* The frame descriptors below are read, so they must not be null. */
QUORVALE_EXPORT int HardwareScheduleFrame(QuorvaleInstanceRec* rec, const QuorvaleFrameDescriptor* frame, uint32_t* result);
QUORVALE_EXPORT int HardwareDrawFrameNow(QuorvaleInstanceRec* rec, const QuorvaleFrameDescriptor* frame);
QUORVALE_EXPORT int HardwareStartScheduledPlayback(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d);
QUORVALE_EXPORT int HardwareStartScheduledPlaybackAtFieldInterrupt(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d, int32_t fieldInterrupt);
/* Tests the device for null but not its transport. *stopTime receives
 * (first returned value << 32) | second returned value. */
QUORVALE_EXPORT int HardwareStopScheduledPlayback(QuorvaleInstanceRec* rec, uint32_t a, int32_t b, uint64_t* stopTime);
/* *count: in, room in records; out, records returned. */
QUORVALE_EXPORT int HardwareGetCompletedPlaybackFrames(QuorvaleInstanceRec* rec, QuorvaleCompletionRec* records, uint32_t* count);
QUORVALE_EXPORT int IsScheduledPlaybackRunning(QuorvaleInstanceRec* rec, uint8_t* running);
QUORVALE_EXPORT int SetVideoOutputDownconversionMode(QuorvaleInstanceRec* rec, uint32_t mode);
QUORVALE_EXPORT int GetVideoOutputDownconversionMode(QuorvaleInstanceRec* rec, uint32_t* mode);
QUORVALE_EXPORT int SetVideoOutputDownconversionOnAnalogOutput(QuorvaleInstanceRec* rec, uint8_t enabled);
QUORVALE_EXPORT int GetVideoOutputDownconversionOnAnalogOutput(QuorvaleInstanceRec* rec, uint8_t* enabled);
QUORVALE_EXPORT int SetVideoOutputConversionOnHDMI(QuorvaleInstanceRec* rec, uint8_t enabled);
QUORVALE_EXPORT int GetVideoOutputConversionOnHDMI(QuorvaleInstanceRec* rec, uint8_t* enabled);
QUORVALE_EXPORT int SetSingleFieldOutputForSynchronousFrames(QuorvaleInstanceRec* rec, uint8_t enabled);
QUORVALE_EXPORT int GetSingleFieldOutputForSynchronousFrames(QuorvaleInstanceRec* rec, uint8_t* enabled);
QUORVALE_EXPORT int SetBlackVideoOutputDuringCapture(QuorvaleInstanceRec* rec, uint8_t enabled);
QUORVALE_EXPORT int GetBlackVideoOutputDuringCapture(QuorvaleInstanceRec* rec, uint8_t* enabled);
QUORVALE_EXPORT int SetHDTVPulldownOnOutput(QuorvaleInstanceRec* rec, uint8_t enabled);
QUORVALE_EXPORT int GetHDTVPulldownOnOutput(QuorvaleInstanceRec* rec, uint8_t* enabled);
QUORVALE_EXPORT int Set444And3GbpsOutputState(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b);
QUORVALE_EXPORT int Get444And3GbpsOutputState(QuorvaleInstanceRec* rec, uint32_t* a, uint32_t* b);

/* ---- Video input --------------------------------------------------------- */

QUORVALE_EXPORT int HardwareVideoInputOn(QuorvaleInstanceRec* rec, uint32_t mode);
QUORVALE_EXPORT int HardwareVideoInputOff(QuorvaleInstanceRec* rec);
QUORVALE_EXPORT int GetVideoInputDisplayMode(QuorvaleInstanceRec* rec, uint32_t* mode);
QUORVALE_EXPORT int HardwareSetVideoInputDisplayMode(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c);
QUORVALE_EXPORT int HardwareGetVideoInputFrameBufferSizeForMode(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t* size);
QUORVALE_EXPORT int HardwareProvideFrameForVideoInput(QuorvaleInstanceRec* rec, const QuorvaleFrameDescriptor* frame);
QUORVALE_EXPORT int DoesSupportVideoInputMode(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t* supported);
/* *byteCount: in, room in bytes; out, bytes returned (no record scaling). */
QUORVALE_EXPORT int HardwareGetFlushedInputFrames(QuorvaleInstanceRec* rec, void* buffer, uint32_t* byteCount);
QUORVALE_EXPORT int RecycleCompletedVideoInputFrames(QuorvaleInstanceRec* rec);
QUORVALE_EXPORT int ResetVideoInput(QuorvaleInstanceRec* rec);
/* Takes the next captured frame (every output may be null), then fixes the
 * picture up in place:
 * - a second field captured into a buffer of its own (laid out like the
 *   picture) is copied onto every other row, from row 0, or from row 1 with
 *   kQuorvaleSecondFieldOnSecondRow, height / 2 rows; the driver is then told
 *   with request 0x915 on the descriptor, whose argument points at the
 *   160-byte record it returned;
 * - three ancillary line ranges are blanked in the ancillary pixel format;
 * - when picture and ancillary formats agree, the ancillary lines named by
 *   lineIndex (negative: none) are copied over picture rows 0 to 2. */
QUORVALE_EXPORT int HardwareGetCompletedInputFrame(QuorvaleInstanceRec* rec, void** frameBuffer,
                                                   uint32_t* frameIndex, uint32_t* flags,
                                                   uint32_t* displayMode, uint32_t* pixelFormat,
                                                   uint32_t* rowBytes, uint32_t* height,
                                                   uint32_t timecode[6], uint64_t* streamTime,
                                                   uint64_t* hardwareTime,
                                                   QuorvaleAncillaryDescription* ancillary);
QUORVALE_EXPORT int SetCaptureVANCLines(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c);
QUORVALE_EXPORT int GetCaptureVANCLines(QuorvaleInstanceRec* rec, uint32_t* a, uint32_t* b, uint32_t* c);
QUORVALE_EXPORT int SetVideoInputDownconversionMode(QuorvaleInstanceRec* rec, uint32_t mode);
QUORVALE_EXPORT int GetVideoInputDownconversionMode(QuorvaleInstanceRec* rec, uint32_t* mode);
/* Always 1, no driver traffic. */
QUORVALE_EXPORT int VideoInputSetAudioInputResyncToken(QuorvaleInstanceRec* rec, uint32_t token);

/* ---- Audio --------------------------------------------------------------- */

/* The start parameters are the driver's; they travel as given. */
QUORVALE_EXPORT int AudioOutputStart(QuorvaleInstanceRec* rec, const void* parameters, uint32_t size);
QUORVALE_EXPORT int AudioOutputStop(QuorvaleInstanceRec* rec);
QUORVALE_EXPORT int AudioOutputWriteSamples(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d, uint32_t* result, uint32_t f, uint32_t g);
QUORVALE_EXPORT int AudioOutputGetBufferedSampleCount(QuorvaleInstanceRec* rec, uint32_t* count);
QUORVALE_EXPORT int AudioOutputGetAudioStreamTime(QuorvaleInstanceRec* rec, uint32_t a, uint32_t* first, uint32_t* second);
QUORVALE_EXPORT int AudioOutputWaitForInterrupt(QuorvaleInstanceRec* rec);
QUORVALE_EXPORT int AudioInputStart(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c);
QUORVALE_EXPORT int AudioInputStop(QuorvaleInstanceRec* rec);
QUORVALE_EXPORT int AudioInputReadSamples(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint64_t* time, uint32_t* count, uint32_t* inOut, uint32_t e);
QUORVALE_EXPORT int AudioInputGetBufferedSampleCount(QuorvaleInstanceRec* rec, uint32_t* count);
QUORVALE_EXPORT int AudioInputFlushBufferedSamples(QuorvaleInstanceRec* rec);
/* Level metering is not offered: both levels become 0 and the call returns 1. */
QUORVALE_EXPORT int AudioInputGetLevelMeter(QuorvaleInstanceRec* rec, uint32_t* left, uint32_t* right);
QUORVALE_EXPORT int SetAudioInputSource(QuorvaleInstanceRec* rec, uint32_t source);
QUORVALE_EXPORT int GetAudioInputSource(QuorvaleInstanceRec* rec, uint32_t* source);
QUORVALE_EXPORT int SetSwitchedAudioOutputFormat(QuorvaleInstanceRec* rec, uint32_t format);
QUORVALE_EXPORT int GetSwitchedAudioOutputFormat(QuorvaleInstanceRec* rec, uint32_t query, uint8_t* format);
QUORVALE_EXPORT int SetAnalogAudioConsumerLevels(QuorvaleInstanceRec* rec, uint8_t enabled);
QUORVALE_EXPORT int GetAnalogAudioConsumerLevels(QuorvaleInstanceRec* rec, uint8_t* enabled);
QUORVALE_EXPORT int SetRawAnalogAudioInputScale(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d);
QUORVALE_EXPORT int GetRawAnalogAudioInputScale(QuorvaleInstanceRec* rec, uint32_t* a, uint32_t* b, uint32_t* c, uint32_t* d);
QUORVALE_EXPORT int SetRawAnalogAudioOutputScale(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d);
QUORVALE_EXPORT int GetRawAnalogAudioOutputScale(QuorvaleInstanceRec* rec, uint32_t* a, uint32_t* b, uint32_t* c, uint32_t* d);

/* ---- Signal formats, timing and analogue adjustments ---------------------- */

QUORVALE_EXPORT int SetGenlockTimingOffset(QuorvaleInstanceRec* rec, uint32_t offset);
QUORVALE_EXPORT int GetGenlockTimingOffset(QuorvaleInstanceRec* rec, uint32_t* offset);
QUORVALE_EXPORT int SetClockTimingAdjustment(QuorvaleInstanceRec* rec, uint32_t adjustment);
QUORVALE_EXPORT int GetClockTimingAdjustment(QuorvaleInstanceRec* rec, uint32_t* adjustment);
QUORVALE_EXPORT int SetForceProgressiveVideo(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b);
QUORVALE_EXPORT int GetForceProgressiveVideo(QuorvaleInstanceRec* rec, uint32_t* a, uint32_t* b);
QUORVALE_EXPORT int GetInputReferenceStatus(QuorvaleInstanceRec* rec, uint32_t* status);
QUORVALE_EXPORT int SetAFrameInputReference(QuorvaleInstanceRec* rec, uint32_t reference);
QUORVALE_EXPORT int GetAFrameInputReference(QuorvaleInstanceRec* rec, uint32_t* reference);
QUORVALE_EXPORT int SetAnalogueVideoOutputFormat(QuorvaleInstanceRec* rec, uint32_t format);
QUORVALE_EXPORT int GetAnalogueVideoOutputFormat(QuorvaleInstanceRec* rec, uint32_t query, uint8_t* format);
QUORVALE_EXPORT int SetAnalogueVideoOutputFlags(QuorvaleInstanceRec* rec, uint32_t flags);
QUORVALE_EXPORT int GetAnalogueVideoOutputFlags(QuorvaleInstanceRec* rec, uint32_t* flags);
QUORVALE_EXPORT int SetVideoInputFormat(QuorvaleInstanceRec* rec, uint32_t format);
QUORVALE_EXPORT int GetVideoInputFormat(QuorvaleInstanceRec* rec, uint32_t* format);
QUORVALE_EXPORT int SetAnalogueVideoInputFlags(QuorvaleInstanceRec* rec, uint32_t flags);
QUORVALE_EXPORT int GetAnalogueVideoInputFlags(QuorvaleInstanceRec* rec, uint32_t* flags);
QUORVALE_EXPORT int EnableAnalogueVideoInputAntialiasFilter(QuorvaleInstanceRec* rec, uint8_t enabled);
QUORVALE_EXPORT int IsAnalogueVideoInputAntialiasFilterEnabled(QuorvaleInstanceRec* rec, uint8_t* enabled);
QUORVALE_EXPORT int SetComponentAnalogueOutputGainDelta(QuorvaleInstanceRec* rec, int32_t a, int32_t b, int32_t c);
QUORVALE_EXPORT int GetComponentAnalogueOutputGainDelta(QuorvaleInstanceRec* rec, int32_t* a, int32_t* b, int32_t* c);
QUORVALE_EXPORT int SetCompositeAnalogueOutputGainDelta(QuorvaleInstanceRec* rec, int32_t a, int32_t b);
QUORVALE_EXPORT int GetCompositeAnalogueOutputGainDelta(QuorvaleInstanceRec* rec, int32_t* a, int32_t* b);
QUORVALE_EXPORT int SetSVideoAnalogueOutputGainDelta(QuorvaleInstanceRec* rec, int32_t a, int32_t b);
QUORVALE_EXPORT int GetSVideoAnalogueOutputGainDelta(QuorvaleInstanceRec* rec, int32_t* a, int32_t* b);
QUORVALE_EXPORT int SetComponentAnalogueInputGainDelta(QuorvaleInstanceRec* rec, int32_t a, int32_t b, int32_t c);
QUORVALE_EXPORT int GetComponentAnalogueInputGainDelta(QuorvaleInstanceRec* rec, int32_t* a, int32_t* b, int32_t* c);
QUORVALE_EXPORT int SetCompositeAnalogueInputGainDelta(QuorvaleInstanceRec* rec, int32_t a, int32_t b);
QUORVALE_EXPORT int GetCompositeAnalogueInputGainDelta(QuorvaleInstanceRec* rec, int32_t* a, int32_t* b);
QUORVALE_EXPORT int SetSVideoAnalogueInputGainDelta(QuorvaleInstanceRec* rec, int32_t a, int32_t b);
QUORVALE_EXPORT int GetSVideoAnalogueInputGainDelta(QuorvaleInstanceRec* rec, int32_t* a, int32_t* b);

/* ---- Pixel buffers ------------------------------------------------------- */

/* Pixel formats with a known black. */
enum QuorvalePixelFormat {
    kQuorvalePixelFormat2vuy = 0x32767579, /* "2vuy" */
    kQuorvalePixelFormatV210 = 0x76323130, /* "v210" */
    kQuorvalePixelFormat32 = 32,           /* 32-bit ARGB */
    kQuorvalePixelFormatBGRA = 0x42475241, /* "BGRA" */
    kQuorvalePixelFormatR210 = 0x72323130, /* "r210" */
    kQuorvalePixelFormatR12B = 0x52313242, /* "R12B" */
    kQuorvalePixelFormatR12L = 0x5231324C  /* "R12L" */
};

/* Fills byteCount / 8 pairs of 32-bit words with the format's black; below
 * 8 bytes, or for a format without a known black, the buffer is untouched. */
QUORVALE_EXPORT void BlackOutBuffer(void* buffer, uint32_t byteCount, uint32_t pixelFormat);

QUORVALE_END_DECLS

#endif
