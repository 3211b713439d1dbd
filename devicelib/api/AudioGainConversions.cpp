// Audio gain: decibels against the hardware's linear scale (unity 128), and
// the scale calls that speak decibels over the raw hardware values.
#include "QuorvaleMaintenance.h"
#include "QuorvaleVideoAudio.h"

#include <cmath>
#include <cstdint>

#include "CallShapes.h"

using namespace quorvale;

namespace {

constexpr double kUnity = 128.0;
constexpr double kPerUnit = 0.0078125;  // 1 / 128

// The scale calls below speak decibels over the video and audio family's raw
// four-channel calls.
using RawScaleGet = int (*)(QuorvaleInstanceRec*, uint32_t*, uint32_t*, uint32_t*, uint32_t*);
using RawScaleSet = int (*)(QuorvaleInstanceRec*, uint32_t, uint32_t, uint32_t, uint32_t);

void storeGain(uint32_t value, double* out)
{
    if (out != nullptr)
        *out = ConvertHardwareValueToAudioGain(static_cast<int32_t>(value));
}

uint32_t hardwareValue(double decibels)
{
    return static_cast<uint32_t>(ConvertAudioGainToHardwareValue(decibels));
}

int getDigitalScale(QuorvaleInstanceRec* rec, int req, double* decibels)
{
    uint32_t value = 0;
    const int status = readWord(rec, req, &value);
    if (status == 0)
        storeGain(value, decibels);
    return status;
}

int getAnalogScale(RawScaleGet raw, QuorvaleInstanceRec* rec, double* first, double* second,
                   double* third, double* fourth)
{
    uint32_t values[4] = {};
    const int status = raw(rec, &values[0], &values[1], &values[2], &values[3]);
    if (status == 0) {
        storeGain(values[0], first);
        storeGain(values[1], second);
        storeGain(values[2], third);
        storeGain(values[3], fourth);
    }
    return status;
}

int setAnalogScale(RawScaleSet raw, QuorvaleInstanceRec* rec, double first, double second,
                   double third, double fourth)
{
    return raw(rec, hardwareValue(first), hardwareValue(second), hardwareValue(third),
               hardwareValue(fourth));
}

}  // namespace

extern "C" {

// Silence reads as 0 dB rather than minus infinity: callers display it.
double ConvertHardwareValueToAudioGain(int32_t value)
{
    if (value == 0)
        return 0.0;
    return 20.0 * std::log10(value * kPerUnit);
}

int32_t ConvertAudioGainToHardwareValue(double decibels)
{
    const double value = std::pow(10.0, decibels / 20.0) * kUnity;
    // What the 32-bit product's truncating conversion gives for values that
    // do not fit, without the undefined conversion.
    if (!(value > -2147483649.0 && value < 2147483648.0))
        return INT32_MIN;
    return static_cast<int32_t>(value);
}

int GetDigitalAudioOutputScale(QuorvaleInstanceRec* rec, double* decibels)
{
    return getDigitalScale(rec, req::GetDigitalAudioOutputScale, decibels);
}

int SetDigitalAudioOutputScale(QuorvaleInstanceRec* rec, double decibels)
{
    return writeWord(rec, req::SetDigitalAudioOutputScale, hardwareValue(decibels));
}

int GetDigitalAudioInputScale(QuorvaleInstanceRec* rec, double* decibels)
{
    return getDigitalScale(rec, req::GetDigitalAudioInputScale, decibels);
}

int SetDigitalAudioInputScale(QuorvaleInstanceRec* rec, double decibels)
{
    return writeWord(rec, req::SetDigitalAudioInputScale, hardwareValue(decibels));
}

int GetAnalogAudioOutputScale(QuorvaleInstanceRec* rec, double* first, double* second,
                              double* third, double* fourth)
{
    return getAnalogScale(GetRawAnalogAudioOutputScale, rec, first, second, third, fourth);
}

int SetAnalogAudioOutputScale(QuorvaleInstanceRec* rec, double first, double second, double third,
                              double fourth)
{
    return setAnalogScale(SetRawAnalogAudioOutputScale, rec, first, second, third, fourth);
}

int GetAnalogAudioInputScale(QuorvaleInstanceRec* rec, double* first, double* second,
                             double* third, double* fourth)
{
    return getAnalogScale(GetRawAnalogAudioInputScale, rec, first, second, third, fourth);
}

int SetAnalogAudioInputScale(QuorvaleInstanceRec* rec, double first, double second, double third,
                             double fourth)
{
    return setAnalogScale(SetRawAnalogAudioInputScale, rec, first, second, third, fourth);
}

}  // extern "C"
