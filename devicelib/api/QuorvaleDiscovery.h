/* Arrival notification through the cross-process discovery channel. */
#ifndef QUORVALE_DISCOVERY_H
#define QUORVALE_DISCOVERY_H

#include "QuorvaleTypes.h"

QUORVALE_BEGIN_DECLS

QUORVALE_END_DECLS

#endif
