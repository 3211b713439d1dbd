/* Arrival notification through the cross-process discovery channel. */
#ifndef QUORVALE_DISCOVERY_H
#define QUORVALE_DISCOVERY_H

#include "QuorvaleTypes.h"

QUORVALE_BEGIN_DECLS

/*
 * Called on the library's listener thread for every device that arrives, and
 * first for every device already present when the callback is installed. The
 * device is open and belongs to the callback, which closes it with
 * CloseDriverConnectionCore. While the callback runs, no process of the
 * device family can post to the channel.
 */
typedef void (*QuorvaleNotificationCallback)(QuorvaleInstanceRec* device, void* context);

/* An installed callback. */
typedef struct QuorvaleNotificationHandle QuorvaleNotificationHandle;

/*
 * Joins (or creates) the discovery channel and starts listening. Returns NULL
 * only when the handle cannot be allocated. When the channel or the listener
 * cannot be set up the handle is returned all the same, already emptied: no
 * callback will ever come, and the one RemoveQuorvaleNotificationCallback the
 * caller makes for it frees it.
 */
QUORVALE_EXPORT QuorvaleNotificationHandle* InstallQuorvaleNotificationCallback(QuorvaleNotificationCallback callback,
                                                                                void* context);

/* Stops listening and frees the handle. NULL is ignored. */
QUORVALE_EXPORT void RemoveQuorvaleNotificationCallback(QuorvaleNotificationHandle* handle);

QUORVALE_END_DECLS

#endif
