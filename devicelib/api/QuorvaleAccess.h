/* Enumerating, opening and closing devices. */
#ifndef QUORVALE_ACCESS_H
#define QUORVALE_ACCESS_H

#include "QuorvaleTypes.h"

QUORVALE_BEGIN_DECLS

QUORVALE_END_DECLS

#endif
