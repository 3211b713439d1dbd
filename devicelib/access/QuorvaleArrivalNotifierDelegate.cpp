#include "QuorvaleArrivalNotifierDelegate.h"

QuorvaleArrivalNotifierDelegate::QuorvaleArrivalNotifierDelegate(QuorvaleNotificationCallback arrivalCallback,
                                                                 void* callbackContext)
    : callback(arrivalCallback), context(callbackContext)
{
}

void QuorvaleArrivalNotifierDelegate::ProcessNotification(QuorvaleInstanceRec* device, bool arrived)
{
    if (arrived)
        callback(device, context);
}
