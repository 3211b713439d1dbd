/*
 * Types shared by every call of the Quorvale device access library.
 *
 * Every device call takes an open device (a QuorvaleInstanceRec from
 * QuorvaleOpenDevice, QuorvaleIteratorNext or ConnectToDriverCore) first and
 * returns an int status: one of QuorvaleStatus, or -1 when the driver's ioctl
 * failed. Calls that create something return NULL on failure.
 */
#ifndef QUORVALE_TYPES_H
#define QUORVALE_TYPES_H

#include <stdint.h>

#include "QuorvaleExport.h"

QUORVALE_BEGIN_DECLS

/* One open device. Opaque to callers; closed with CloseDriverConnectionCore. */
typedef struct QuorvaleInstanceRec QuorvaleInstanceRec;
/* An ordered list of device nodes being handed out as open devices. */
typedef struct QuorvaleIteratorRec QuorvaleIteratorRec;
/* The 16-byte name of one device node: 15 prefix bytes and a unit number. */
typedef struct QuorvaleDeviceNode QuorvaleDeviceNode;

enum QuorvaleStatus {
    kQuorvaleSuccess = 0,
    kQuorvaleBadArgument = 1,           /* null record, null transport or null output */
    kQuorvaleNoMemory = 1001,
    kQuorvaleNotTranslatable = 1002,    /* cannot be carried to the newer driver */
    kQuorvaleMessagesUnsupported = 1012, /* message requests on the legacy driver */
    kQuorvaleIoctlFailed = -1
};

QUORVALE_END_DECLS

#endif
