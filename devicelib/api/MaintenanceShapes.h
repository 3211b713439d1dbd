// Shapes of the maintenance family beyond the common ones in CallShapes.h.
#ifndef QUORVALE_MAINTENANCE_SHAPES_H
#define QUORVALE_MAINTENANCE_SHAPES_H

#include <cstdint>

#include "CallShapes.h"

namespace quorvale {

// readScalar(req, unsigned char*): a truth value (1 for any non-zero answer),
// not the low byte.
inline int readTruth(QuorvaleInstanceRec* rec, int req, uint8_t* out)
{
    return withTransport(rec, [&](IoctlMessageUser& t) {
        unsigned char value = 0;
        const int status = t.readScalar(req, &value);
        if (status == 0)
            storeScalar(value, out);
        return status;
    });
}

// call(req) with no arguments.
inline int callOnly(QuorvaleInstanceRec* rec, int req, int missing = kQuorvaleBadArgument)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.call(req); }, missing);
}

}  // namespace quorvale

#endif
