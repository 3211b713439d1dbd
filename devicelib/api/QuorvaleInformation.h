/* Calls that identify and describe a device. */
#ifndef QUORVALE_INFORMATION_H
#define QUORVALE_INFORMATION_H

#include "QuorvaleTypes.h"

QUORVALE_BEGIN_DECLS

QUORVALE_END_DECLS

#endif
