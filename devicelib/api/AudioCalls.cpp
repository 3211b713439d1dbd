// Audio playback and capture calls.
#include "QuorvaleVideoAudio.h"
#include "CallShapes.h"

using namespace quorvale;

int AudioOutputStart(QuorvaleInstanceRec* rec, const void* parameters, uint32_t size)
{ return writeBytes(rec, req::AudioOutputStart, parameters, size); }

int AudioOutputStop(QuorvaleInstanceRec* rec)
{ return bareRequest(rec, req::AudioOutputStop); }

int AudioOutputWriteSamples(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d,
                            uint32_t* result, uint32_t f, uint32_t g)
{
    const QuorvaleAudioWriteSamplesRec samples{a, b, c, d, f, g};
    return exchangeRecords(rec, req::AudioOutputWriteSamples, samples, result);
}

int AudioOutputGetBufferedSampleCount(QuorvaleInstanceRec* rec, uint32_t* count)
{ return readWord(rec, req::AudioOutputGetBufferedSampleCount, count); }

int AudioOutputGetAudioStreamTime(QuorvaleInstanceRec* rec, uint32_t a, uint32_t* first, uint32_t* second)
{ return exchangeScalars(rec, req::AudioOutputGetAudioStreamTime, inputs(a), first, second); }

int AudioOutputWaitForInterrupt(QuorvaleInstanceRec* rec)
{ return bareRequest(rec, req::AudioOutputWaitForInterrupt); }

int AudioInputStart(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c)
{ return writeScalars(rec, req::AudioInputStart, a, b, c); }

int AudioInputStop(QuorvaleInstanceRec* rec)
{ return bareRequest(rec, req::AudioInputStop); }

// The request's last 20 bytes, and the inOut word without an inOut, are left
// as they were on the stack: the driver does not read them.
int AudioInputReadSamples(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint64_t* time,
                          uint32_t* count, uint32_t* inOut, uint32_t e)
{
    QuorvaleAudioReadSamplesRec request;
    request.a = a;
    request.b = b;
    if (inOut != nullptr)
        request.inOut = *inOut;
    request.e = e;
    QuorvaleAudioReadSamplesResultRec answer{};
    const int status = exchangeRecords(rec, req::AudioInputReadSamples, request, &answer);
    if (status != 0)
        return status;
    storeScalar(answer.time, time);
    storeScalar(answer.count, count);
    storeScalar(answer.finalValue, inOut);
    return status;
}

int AudioInputGetBufferedSampleCount(QuorvaleInstanceRec* rec, uint32_t* count)
{ return readWord(rec, req::AudioInputGetBufferedSampleCount, count); }

int AudioInputFlushBufferedSamples(QuorvaleInstanceRec* rec)
{ return bareRequest(rec, req::AudioInputFlushBufferedSamples); }

// Level metering is not offered: zero levels and "unusable".
int AudioInputGetLevelMeter(QuorvaleInstanceRec*, uint32_t* left, uint32_t* right)
{
    storeScalar(0, left);
    storeScalar(0, right);
    return kQuorvaleBadArgument;
}

int SetAudioInputSource(QuorvaleInstanceRec* rec, uint32_t source)
{ return writeWord(rec, req::SetAudioInputSource, source); }

int GetAudioInputSource(QuorvaleInstanceRec* rec, uint32_t* source)
{ return readWord(rec, req::GetAudioInputSource, source); }

int SetSwitchedAudioOutputFormat(QuorvaleInstanceRec* rec, uint32_t format)
{ return writeWord(rec, req::SetSwitchedAudioOutputFormat, format); }

int GetSwitchedAudioOutputFormat(QuorvaleInstanceRec* rec, uint32_t query, uint8_t* format)
{ return queryFlag(rec, req::GetSwitchedAudioOutputFormat, query, format); }

int SetAnalogAudioConsumerLevels(QuorvaleInstanceRec* rec, uint8_t enabled)
{ return writeFlag(rec, req::SetAnalogAudioConsumerLevels, enabled); }

int GetAnalogAudioConsumerLevels(QuorvaleInstanceRec* rec, uint8_t* enabled)
{ return readFlag(rec, req::GetAnalogAudioConsumerLevels, enabled); }

int SetRawAnalogAudioInputScale(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d)
{ return writeScalars(rec, req::SetRawAnalogAudioInputScale, a, b, c, d); }

int GetRawAnalogAudioInputScale(QuorvaleInstanceRec* rec, uint32_t* a, uint32_t* b, uint32_t* c, uint32_t* d)
{ return readScalars(rec, req::GetRawAnalogAudioInputScale, a, b, c, d); }

int SetRawAnalogAudioOutputScale(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t d)
{ return writeScalars(rec, req::SetRawAnalogAudioOutputScale, a, b, c, d); }

int GetRawAnalogAudioOutputScale(QuorvaleInstanceRec* rec, uint32_t* a, uint32_t* b, uint32_t* c, uint32_t* d)
{ return readScalars(rec, req::GetRawAnalogAudioOutputScale, a, b, c, d); }
