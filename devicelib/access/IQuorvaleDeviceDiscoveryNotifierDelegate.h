// Receiver of the discovery channel's notifications.
#ifndef I_QUORVALE_DEVICE_DISCOVERY_NOTIFIER_DELEGATE_H
#define I_QUORVALE_DEVICE_DISCOVERY_NOTIFIER_DELEGATE_H

#include "QuorvaleTypes.h"

class IQuorvaleDeviceDiscoveryNotifierDelegate {
public:
    virtual ~IQuorvaleDeviceDiscoveryNotifierDelegate() = default;
    // Called on the listener thread with the channel's mutex held; `device`
    // has just been opened for this call.
    virtual void ProcessNotification(QuorvaleInstanceRec* device, bool arrived) = 0;
};

#endif
