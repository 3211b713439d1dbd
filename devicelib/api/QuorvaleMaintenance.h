/*
 * Serial port, registers, display, maintenance calls, gain conversions and
 * event references.
 *
 * Device calls take an open QuorvaleInstanceRec first and return an int
 * status (QuorvaleStatus, or -1 from a failed ioctl). Outputs are written only
 * on success. Unless a call says otherwise a null record or a record without a
 * transport gives kQuorvaleBadArgument (1).
 *
 * The display, USB, bypass, OEM PROM, configuration register, lookup table and
 * fan calls talk to the device's descriptor directly, without the request
 * translation of the newer driver: both driver generations receive the same
 * request number. Their simple Set calls hand the driver the address of the
 * value; their simple Get calls hand it the caller's pointer (NULL gives 1).
 */
#ifndef QUORVALE_MAINTENANCE_H
#define QUORVALE_MAINTENANCE_H

#include "QuorvaleTypes.h"

QUORVALE_BEGIN_DECLS

/* ---- Records exchanged with the driver as they are ---------------------- */

/* Statistics block, filled in place by GetDriverStatistics. The meaning of
   the words is the driver's. */
typedef struct QuorvaleDriverStatisticsRec {
    uint32_t words[6];
} QuorvaleDriverStatisticsRec;

/* DMA transfer description sent by PerformDMATransfer; the driver's layout. */
typedef struct QuorvaleDMATransferRec {
    uint32_t words[6];
} QuorvaleDMATransferRec;

/* The newer driver's generic message (40 bytes), exchanged in place: the
   scalars go in and the driver's answer comes back in the same record. */
typedef struct QuorvaleMessageRequestRec {
    uint32_t messageCode; /* four characters, the first in the top byte */
    uint32_t reserved;    /* sent as given; the driver's on return */
    uint64_t scalars[4];
} QuorvaleMessageRequestRec;

/* The newer driver's buffer message (1064 bytes), built by the caller and
   exchanged in place. */
typedef struct QuorvaleBufferMessageRequestRec {
    uint8_t bytes[1064];
} QuorvaleBufferMessageRequestRec;

/* An event reference: a zeroed 4-byte cell owned by the caller. */
typedef struct QuorvaleEventRec* QuorvaleEventRef;

/* ---- Identification EEPROM --------------------------------------------- */

QUORVALE_EXPORT int ProgramQuorvaleDeviceIdentificationEEPROM(QuorvaleInstanceRec* rec, uint32_t a,
                                                              uint32_t b, uint32_t c, uint32_t d);
QUORVALE_EXPORT int VerifyQuorvaleDeviceIdentificationEEPROMisProgrammed(QuorvaleInstanceRec* rec);
QUORVALE_EXPORT int GetQuorvaleDeviceIdentificationEEPROMProgrammingStatus(QuorvaleInstanceRec* rec,
                                                                           uint32_t* first,
                                                                           uint32_t* second,
                                                                           uint32_t* third);

/* ---- Serial port (transfers are bounded by the driver's 64-byte buffer) - */

QUORVALE_EXPORT int SerialOpen(QuorvaleInstanceRec* rec, uint32_t settings);
QUORVALE_EXPORT int SerialClose(QuorvaleInstanceRec* rec);
/* 1 for a NULL buffer or a zero length; *bytesRead gets the count read. */
QUORVALE_EXPORT int SerialRead(QuorvaleInstanceRec* rec, void* buffer, uint32_t length,
                               uint32_t* bytesRead);
/* 1 for NULL data or a zero length; *result gets the driver's 4-byte answer. */
QUORVALE_EXPORT int SerialWrite(QuorvaleInstanceRec* rec, const void* data, uint32_t length,
                                uint32_t* result);
/* 1 for NULL data, a zero length or a NULL result. */
QUORVALE_EXPORT int SerialWriteWithInterrupt(QuorvaleInstanceRec* rec, const void* data,
                                             uint32_t length, uint32_t* result, uint32_t extra);
/* 1002 (not 1) for a NULL record, transport, buffer, bytesRead or extra, or a
   zero length. *extra is the driver's word when bytes arrived, else 0. */
QUORVALE_EXPORT int SerialReadWithInterrupt(QuorvaleInstanceRec* rec, void* buffer, uint32_t length,
                                            uint32_t* bytesRead, uint32_t* extra);
QUORVALE_EXPORT int SerialGetInterruptCount(QuorvaleInstanceRec* rec, uint32_t* count);
QUORVALE_EXPORT int SerialSetRxTxSwapState(QuorvaleInstanceRec* rec, uint8_t swapped);
/* *swapped is 1 for any non-zero driver answer. */
QUORVALE_EXPORT int SerialGetRxTxSwapState(QuorvaleInstanceRec* rec, uint8_t* swapped);

/* ---- Registers, notifications, blending, idle output, attributes ------- */

QUORVALE_EXPORT int Set3dPackingFormat(QuorvaleInstanceRec* rec, uint32_t format);
QUORVALE_EXPORT int Get3dPackingFormat(QuorvaleInstanceRec* rec, uint32_t* format);
/* *size: in the buffer's capacity, out the size the driver returned; a NULL
   size gives 1. */
QUORVALE_EXPORT int GetAPINotification(QuorvaleInstanceRec* rec, void* buffer, uint32_t* size);
QUORVALE_EXPORT int PostAPINotification(QuorvaleInstanceRec* rec, const void* notification,
                                        uint32_t size);
QUORVALE_EXPORT int ReadFPGARegister(QuorvaleInstanceRec* rec, uint32_t address, uint32_t* value);
QUORVALE_EXPORT int WriteFPGARegister(QuorvaleInstanceRec* rec, uint32_t address, uint32_t value);
QUORVALE_EXPORT int SetAlphaBlendModeOn(QuorvaleInstanceRec* rec, uint32_t mode);
QUORVALE_EXPORT int SetAlphaBlendModeOff(QuorvaleInstanceRec* rec);
QUORVALE_EXPORT int SetGlobalAlphaLevel(QuorvaleInstanceRec* rec, uint32_t level);
QUORVALE_EXPORT int PerformBlendRampUp(QuorvaleInstanceRec* rec, uint32_t duration);
QUORVALE_EXPORT int PerformBlendRampDown(QuorvaleInstanceRec* rec, uint32_t duration);
QUORVALE_EXPORT int SetAutoBlendSettings(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b,
                                         uint32_t c, uint32_t d);
QUORVALE_EXPORT int SetQuorvaleIdleVideoOutputOperation(QuorvaleInstanceRec* rec,
                                                        uint32_t operation);
QUORVALE_EXPORT int GetQuorvaleIdleVideoOutputOperation(QuorvaleInstanceRec* rec,
                                                        uint32_t* operation);
/* Sent as a write on the request GetQuorvaleIdleVideoOutputOperation reads. */
QUORVALE_EXPORT int SetAudioMeterMode(QuorvaleInstanceRec* rec, uint32_t mode);
/* 1002 for a NULL record or transport; a is the low and b the high word of
   the attribute's 64-bit value. */
QUORVALE_EXPORT int SetDriverAttribute(QuorvaleInstanceRec* rec, uint32_t attribute, uint32_t a,
                                       uint32_t b);
/* *value gets the low 32 bits of the attribute's value. */
QUORVALE_EXPORT int GetDriverAttribute(QuorvaleInstanceRec* rec, uint32_t attribute,
                                       uint32_t* value);
QUORVALE_EXPORT int GetStatusInfo(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c,
                                  uint32_t d, uint32_t* first, uint32_t* second, uint32_t* third);

/* ---- Calls on the descriptor, untranslated on both driver generations -- */

/* properties and segments are the driver's records, passed on untested.
   ForceDeviceToUSB2 hands the driver a null argument. */
QUORVALE_EXPORT int GetDeviceUSBConnectionProperties(QuorvaleInstanceRec* rec, void* properties);
QUORVALE_EXPORT int ForceDeviceToUSB2(QuorvaleInstanceRec* rec);
QUORVALE_EXPORT int SetBypassState(QuorvaleInstanceRec* rec, uint32_t state);
QUORVALE_EXPORT int GetBypassState(QuorvaleInstanceRec* rec, uint32_t* state);
QUORVALE_EXPORT int ReadOEMPromSegment(QuorvaleInstanceRec* rec, void* segment);
QUORVALE_EXPORT int WriteOEMPromSegment(QuorvaleInstanceRec* rec, const void* segment);
QUORVALE_EXPORT int SetAudioMeterBrightness(QuorvaleInstanceRec* rec, uint32_t brightness);
QUORVALE_EXPORT int SetDVIOutputScaleToFitScreen(QuorvaleInstanceRec* rec, uint32_t on);
QUORVALE_EXPORT int GetDVIOutputScaleToFitScreen(QuorvaleInstanceRec* rec, uint32_t* on);
QUORVALE_EXPORT int SetDVIOutputSDScaling(QuorvaleInstanceRec* rec, uint32_t scaling);
QUORVALE_EXPORT int GetDVIOutputSDScaling(QuorvaleInstanceRec* rec, uint32_t* scaling);
QUORVALE_EXPORT int SetDVIOutputScaleIllegalYUV(QuorvaleInstanceRec* rec, uint32_t on);
QUORVALE_EXPORT int GetDVIOutputScaleIllegalYUV(QuorvaleInstanceRec* rec, uint32_t* on);
QUORVALE_EXPORT int SetDVIOutputForceEDIDOverride(QuorvaleInstanceRec* rec, uint32_t on);
QUORVALE_EXPORT int GetDVIOutputForceEDIDOverride(QuorvaleInstanceRec* rec, uint32_t* on);
QUORVALE_EXPORT int SetDVIOutputInterlaceSimulation(QuorvaleInstanceRec* rec, uint32_t on);
QUORVALE_EXPORT int GetDVIOutputInterlaceSimulation(QuorvaleInstanceRec* rec, uint32_t* on);
QUORVALE_EXPORT int SetDVIOutputBlueOnly(QuorvaleInstanceRec* rec, uint32_t on);
QUORVALE_EXPORT int GetDVIOutputBlueOnly(QuorvaleInstanceRec* rec, uint32_t* on);
QUORVALE_EXPORT int WriteConfigurationRegister(QuorvaleInstanceRec* rec, uint32_t value);
QUORVALE_EXPORT int ReadConfigurationRegister(QuorvaleInstanceRec* rec, uint32_t* value);
/* size must be exactly 16384, else 1 and nothing is sent. The driver record
   carries the table's address as 32 bits (the product is a 32-bit process). */
QUORVALE_EXPORT int Write3DVideoOutputLookupTable(QuorvaleInstanceRec* rec, uint8_t enable,
                                                  const void* table, uint32_t size);
QUORVALE_EXPORT int Read3DVideoOutputLookupTable(QuorvaleInstanceRec* rec, uint8_t* enable,
                                                 void* table, uint32_t size);
QUORVALE_EXPORT int Write1DVideoOutputLookupTable(QuorvaleInstanceRec* rec, uint8_t enable,
                                                  uint32_t a, uint32_t b, uint32_t c);
QUORVALE_EXPORT int Read1DVideoOutputLookupTable(QuorvaleInstanceRec* rec, uint8_t* enable,
                                                 uint32_t a, uint32_t b, uint32_t c);
QUORVALE_EXPORT int SetLowSpeedFanOperation(QuorvaleInstanceRec* rec, uint8_t on);
QUORVALE_EXPORT int GetLowSpeedFanOperation(QuorvaleInstanceRec* rec, uint32_t* on);
QUORVALE_EXPORT int AudioInputSelectStereoChannelPair(QuorvaleInstanceRec* rec, uint32_t pair);
QUORVALE_EXPORT int AudioOutputGetAvailableSampleSpace(QuorvaleInstanceRec* rec, uint32_t* space);
QUORVALE_EXPORT int InsertVideoInputSyncMarker(QuorvaleInstanceRec* rec, uint32_t marker);
QUORVALE_EXPORT int ReinitialiseQuorvaleHardware(QuorvaleInstanceRec* rec, uint32_t mode);

/* ---- Driver-level requests (1002 for a NULL record or transport) ------- */

/* 0 for the legacy driver, 4 for the newer one; 1 for a NULL record. */
QUORVALE_EXPORT int GetDriverInterfaceType(QuorvaleInstanceRec* rec);
QUORVALE_EXPORT int GetDriverStatistics(QuorvaleInstanceRec* rec,
                                        QuorvaleDriverStatisticsRec* statistics);
QUORVALE_EXPORT int PerformDMATransfer(QuorvaleInstanceRec* rec,
                                       const QuorvaleDMATransferRec* transfer);
/* 1012 on the legacy driver, which has no message requests. */
QUORVALE_EXPORT int SendMessageRequest(QuorvaleInstanceRec* rec,
                                       QuorvaleMessageRequestRec* request);
QUORVALE_EXPORT int SendBufferMessageRequest(QuorvaleInstanceRec* rec,
                                             QuorvaleBufferMessageRequestRec* request);

/* Not offered by this library: 1, nothing touched. */
QUORVALE_EXPORT int ReadZelqSwitchersRegister(QuorvaleInstanceRec* rec, uint32_t address,
                                              uint32_t* value);
QUORVALE_EXPORT int WriteZelqSwitchersRegister(QuorvaleInstanceRec* rec, uint32_t address,
                                               uint32_t value);

/* ---- Audio gain: decibels against hardware values, unity is 128 -------- */

/* 0 gives 0.0 dB (not minus infinity). */
QUORVALE_EXPORT double ConvertHardwareValueToAudioGain(int32_t value);
/* Truncated toward zero; a result outside int32_t (or NaN) gives INT32_MIN. */
QUORVALE_EXPORT int32_t ConvertAudioGainToHardwareValue(double decibels);
QUORVALE_EXPORT int GetDigitalAudioOutputScale(QuorvaleInstanceRec* rec, double* decibels);
QUORVALE_EXPORT int SetDigitalAudioOutputScale(QuorvaleInstanceRec* rec, double decibels);
QUORVALE_EXPORT int GetDigitalAudioInputScale(QuorvaleInstanceRec* rec, double* decibels);
QUORVALE_EXPORT int SetDigitalAudioInputScale(QuorvaleInstanceRec* rec, double decibels);
/* Four channels; NULL outputs are skipped. */
QUORVALE_EXPORT int GetAnalogAudioOutputScale(QuorvaleInstanceRec* rec, double* first,
                                              double* second, double* third, double* fourth);
QUORVALE_EXPORT int SetAnalogAudioOutputScale(QuorvaleInstanceRec* rec, double first,
                                              double second, double third, double fourth);
QUORVALE_EXPORT int GetAnalogAudioInputScale(QuorvaleInstanceRec* rec, double* first,
                                             double* second, double* third, double* fourth);
QUORVALE_EXPORT int SetAnalogAudioInputScale(QuorvaleInstanceRec* rec, double first, double second,
                                             double third, double fourth);

/* ---- Event references --------------------------------------------------- */

/* 1001 when the allocation fails, 1 for a NULL ref, else 0. */
QUORVALE_EXPORT int InitialiseQuorvaleEventRef(QuorvaleEventRef* ref);
/* Frees ref; NULL is ignored. */
QUORVALE_EXPORT void DisposeQuorvaleEventRef(QuorvaleEventRef ref);

QUORVALE_END_DECLS

#endif
