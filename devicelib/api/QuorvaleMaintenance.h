/* Serial port, registers, display, maintenance calls, gain conversions and event references. */
#ifndef QUORVALE_MAINTENANCE_H
#define QUORVALE_MAINTENANCE_H

#include "QuorvaleTypes.h"

QUORVALE_BEGIN_DECLS

QUORVALE_END_DECLS

#endif
