// The device access calls the discovery channel relies on.
#ifndef DISCOVERY_DEVICE_ACCESS_H
#define DISCOVERY_DEVICE_ACCESS_H

#include "QuorvaleTypes.h"

extern "C" {
QuorvaleInstanceRec* QuorvaleOpenDevice(const QuorvaleDeviceNode* node);
QuorvaleIteratorRec* CreateQuorvaleIterator(void);
bool ConnectToDriverCore(QuorvaleInstanceRec** out, QuorvaleIteratorRec* iterator);
void CloseDriverConnectionCore(QuorvaleInstanceRec* instance);
void ReleaseQuorvaleIterator(QuorvaleIteratorRec* iterator);
}

#endif
