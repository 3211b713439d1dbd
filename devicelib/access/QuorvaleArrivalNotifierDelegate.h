// Hands arriving devices to a plain C callback.
#ifndef QUORVALE_ARRIVAL_NOTIFIER_DELEGATE_H
#define QUORVALE_ARRIVAL_NOTIFIER_DELEGATE_H

#include "IQuorvaleDeviceDiscoveryNotifierDelegate.h"
#include "QuorvaleDiscovery.h"

class QuorvaleArrivalNotifierDelegate : public IQuorvaleDeviceDiscoveryNotifierDelegate {
public:
    QuorvaleArrivalNotifierDelegate(QuorvaleNotificationCallback arrivalCallback, void* callbackContext);

    // The callback owns the device it receives. A removal is dropped, and the
    // device opened for it stays open.
    void ProcessNotification(QuorvaleInstanceRec* device, bool arrived) override;

    QuorvaleNotificationCallback callback;
    void* context;
};

#endif
