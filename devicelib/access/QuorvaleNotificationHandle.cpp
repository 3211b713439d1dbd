#include "QuorvaleNotificationHandle.h"

#include <cstdlib>
#include <new>

namespace {

// Notifier first: deleting it disconnects, which stops the listener before
// its delegate goes.
void releaseContents(QuorvaleNotificationHandle* handle)
{
    delete handle->notifier;
    handle->notifier = nullptr;
    delete handle->delegate;
    handle->delegate = nullptr;
}

// Callers are not told that installation failed: they get the handle's
// address as on success. Its contents are released now, but the handle itself
// stays allocated, emptied, so that the caller's own (and only) removal of it
// is harmless and frees it rather than touching freed memory.
QuorvaleNotificationHandle* failedInstallation(QuorvaleNotificationHandle* handle)
{
    releaseContents(handle);
    return handle;
}

}  // namespace

extern "C" QUORVALE_EXPORT QuorvaleNotificationHandle* InstallQuorvaleNotificationCallback(
    QuorvaleNotificationCallback callback, void* context)
{
    auto* handle = static_cast<QuorvaleNotificationHandle*>(calloc(1, sizeof(QuorvaleNotificationHandle)));
    if (handle == nullptr)
        return nullptr;

    handle->notifier = new (std::nothrow) QuorvaleDeviceDiscoveryNotifier();
    if (handle->notifier == nullptr)
        return failedInstallation(handle);

    handle->delegate = new (std::nothrow) QuorvaleArrivalNotifierDelegate(callback, context);
    if (handle->notifier->connect() && handle->notifier->waitForNotifications(handle->delegate))
        return handle;
    return failedInstallation(handle);
}

extern "C" QUORVALE_EXPORT void RemoveQuorvaleNotificationCallback(QuorvaleNotificationHandle* handle)
{
    if (handle == nullptr)
        return;
    releaseContents(handle);
    free(handle);
}
