// What InstallQuorvaleNotificationCallback hands out.
#ifndef QUORVALE_NOTIFICATION_HANDLE_H
#define QUORVALE_NOTIFICATION_HANDLE_H

#include "QuorvaleArrivalNotifierDelegate.h"
#include "QuorvaleDeviceDiscoveryNotifier.h"

// Both owned. Both null marks a handle whose installation failed and whose
// contents are already released.
struct QuorvaleNotificationHandle {
    QuorvaleDeviceDiscoveryNotifier* notifier;
    QuorvaleArrivalNotifierDelegate* delegate;
};

#endif
