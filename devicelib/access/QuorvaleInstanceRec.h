// One open device. Every exported device call takes it first.
#ifndef QUORVALE_INSTANCE_REC_H
#define QUORVALE_INSTANCE_REC_H

#include <pthread.h>
#include <cstdint>

#include "QuorvaleTypes.h"

class IoctlMessageUser;

enum { kHardwareDescriptionSize = 104, kSharedDataSize = 80, kSharedDataVersion = 189 };

struct QuorvaleInstanceRec {
    uint32_t reserved0;
    int fd;
    uint32_t unitNumber;
    IoctlMessageUser* transport;  // owned
    uint32_t interfaceType;
    const volatile uint32_t* sharedData;  // the driver's 80-byte area, or null
    uint32_t familyWords[8];              // zero; free for the control call families
    uint8_t hardwareDescription[kHardwareDescriptionSize];
    uint32_t mutexInitialised;
    pthread_mutex_t lock;
    uint32_t stateA;
    uint32_t stateB;
    uint32_t stateC;
    uint32_t familyWords2[8];             // zero; free for the control call families
    const char* driverName;               // a static string of kDeviceNameMappings
};

#endif
