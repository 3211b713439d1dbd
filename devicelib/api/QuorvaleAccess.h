/* Enumerating, opening and closing devices. */
#ifndef QUORVALE_ACCESS_H
#define QUORVALE_ACCESS_H

#include <stdbool.h>

#include "QuorvaleTypes.h"

QUORVALE_BEGIN_DECLS

/* Scans /dev/vantorix, probes, sorts and groups the nodes; NULL only when
   the iterator itself cannot be allocated. */
QUORVALE_EXPORT QuorvaleIteratorRec* CreateQuorvaleIterator(void);
/* Opens the next node; NULL at the end, or when that node fails to open (the
   same node is tried again by the next call). */
QUORVALE_EXPORT QuorvaleInstanceRec* QuorvaleIteratorNext(QuorvaleIteratorRec* iterator);
QUORVALE_EXPORT QuorvaleIteratorRec* ResetQuorvaleIterator(QuorvaleIteratorRec* iterator);
/* Devices already handed out stay open. */
QUORVALE_EXPORT void ReleaseQuorvaleIterator(QuorvaleIteratorRec* iterator);

QUORVALE_EXPORT QuorvaleInstanceRec* QuorvaleOpenDevice(const QuorvaleDeviceNode* node);
/* A NULL iterator means "the first device". */
QUORVALE_EXPORT bool ConnectToDriverCore(QuorvaleInstanceRec** out, QuorvaleIteratorRec* iterator);
/* Positions 0 and 1 both mean the first device. */
QUORVALE_EXPORT bool ConnectToNextQuorvale(QuorvaleInstanceRec** out, uint32_t position);
QUORVALE_EXPORT void CloseDriverConnectionCore(QuorvaleInstanceRec* instance);

QUORVALE_EXPORT bool MapDeviceMemoryCore(QuorvaleInstanceRec* instance);
/* `buffer` holds at least 64 bytes. A device opened through a "card" node is
   reported under "dv". */
QUORVALE_EXPORT bool GetDevicePath(QuorvaleInstanceRec* instance, char* buffer);
QUORVALE_EXPORT int GetDriverFileDescriptor(QuorvaleInstanceRec* instance);
QUORVALE_EXPORT const char* GetDriverName(QuorvaleInstanceRec* instance);

QUORVALE_END_DECLS

#endif
