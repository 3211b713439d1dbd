/* Calls that identify and describe a device. */
#ifndef QUORVALE_INFORMATION_H
#define QUORVALE_INFORMATION_H

#include "QuorvaleTypes.h"

QUORVALE_BEGIN_DECLS

/* One model of the device family, indexed by the model index the driver
   reports. Row 0 is a placeholder; bits 16-23 of a non-zero code repeat the
   row index. */
typedef struct VantorixDeviceTableRow {
    uint32_t code;
    uint32_t flags; /* 0, 1 or 0x100 */
    const char* modelName;
} VantorixDeviceTableRow;

enum { kVantorixDeviceTableRows = 80 };

QUORVALE_EXPORT extern const VantorixDeviceTableRow gVantorixDeviceTable[kVantorixDeviceTableRows];

QUORVALE_EXPORT int GetDriverSharedDataStructureVersion(QuorvaleInstanceRec* rec, uint32_t* version);
/* `description` holds 104 bytes. */
QUORVALE_EXPORT int GetHardwareDescription(QuorvaleInstanceRec* rec, void* description);
/* `description` holds 65 bytes. */
QUORVALE_EXPORT int GetSerialPortDescription(QuorvaleInstanceRec* rec, char* description);
QUORVALE_EXPORT int VantorixGetDeviceInfo(QuorvaleInstanceRec* rec, uint32_t* deviceInfo,
                                          uint32_t* modelIndex);
/* Always leaves a valid name, "Quorvale" unless the model is known. */
QUORVALE_EXPORT int GetModelName(QuorvaleInstanceRec* rec, const char** name);
QUORVALE_EXPORT int GetSubDeviceInfo(QuorvaleInstanceRec* rec, uint32_t* subDeviceIndex,
                                     uint32_t* subDeviceCount, uint32_t* parentDeviceId);
QUORVALE_EXPORT int GetQuorvaleFirmwareVersion(QuorvaleInstanceRec* rec, uint32_t* first,
                                               uint32_t* second);
QUORVALE_EXPORT int IsQuorvaleHardwareUsable(QuorvaleInstanceRec* rec, uint32_t* usable);
QUORVALE_EXPORT int GetQuorvalePersistentIdentifier(QuorvaleInstanceRec* rec, uint32_t* id);
QUORVALE_EXPORT int GetQuorvaleTopologicalIdentifier(QuorvaleInstanceRec* rec, uint32_t* id);
QUORVALE_EXPORT int GetQuorvaleDeviceBusyState(QuorvaleInstanceRec* rec, uint32_t* state);
QUORVALE_EXPORT int VantorixGetNumSupportedAudioChannels(QuorvaleInstanceRec* rec, uint32_t* count);
QUORVALE_EXPORT int GetTimerCount(QuorvaleInstanceRec* rec, uint64_t* count);
QUORVALE_EXPORT int GetCurrentVideoInputInterruptTimestamp(QuorvaleInstanceRec* rec, uint32_t* count,
                                                           uint64_t* timestamp, uint32_t* extra);
QUORVALE_EXPORT int GetCurrentScheduledFrameTime(QuorvaleInstanceRec* rec, uint64_t* time,
                                                 uint32_t* second, uint32_t* third);
QUORVALE_EXPORT int GetCurrentScheduledFrameID(QuorvaleInstanceRec* rec, uint8_t* id);
QUORVALE_EXPORT int GetDefaultVideoOutputMode(QuorvaleInstanceRec* rec, uint32_t* mode);
QUORVALE_EXPORT int SetDefaultVideoOutputMode(QuorvaleInstanceRec* rec, uint32_t mode);
QUORVALE_EXPORT int GetVideoOutputHostApplicationTag(QuorvaleInstanceRec* rec, uint32_t* tag);
QUORVALE_EXPORT int SetVideoOutputHostApplicationTag(QuorvaleInstanceRec* rec, uint32_t tag);
/* Lock-free read of the driver's shared-data area. */
QUORVALE_EXPORT int GetCurrentVideoOutputInterruptTimestamp(QuorvaleInstanceRec* rec, uint32_t* count,
                                                            uint64_t* timestamp, uint32_t* extra);
/* Not supported: always 1. */
QUORVALE_EXPORT int GetAudioOutputBufferWrapCount(QuorvaleInstanceRec* rec, uint32_t* count);
QUORVALE_EXPORT int GetAudioInputBufferWrapCount(QuorvaleInstanceRec* rec, uint32_t* count);

QUORVALE_END_DECLS

#endif
