// Event references: a zeroed 4-byte cell the caller owns until it disposes of it.
#include "QuorvaleMaintenance.h"

#include <cstdint>
#include <cstdlib>

#include "EventReferences.h"

struct QuorvaleEventRec {
    uint32_t value;
};
static_assert(sizeof(QuorvaleEventRec) == 4, "an event reference is 4 bytes");

namespace quorvale {

void* (*gEventRefAllocate)(std::size_t) = std::malloc;

}  // namespace quorvale

extern "C" {

int InitialiseQuorvaleEventRef(QuorvaleEventRef* ref)
{
    if (ref == nullptr)
        return kQuorvaleBadArgument;
    auto* event = static_cast<QuorvaleEventRec*>(quorvale::gEventRefAllocate(sizeof(QuorvaleEventRec)));
    if (event == nullptr)
        return kQuorvaleNoMemory;
    event->value = 0;
    *ref = event;
    return kQuorvaleSuccess;
}

void DisposeQuorvaleEventRef(QuorvaleEventRef ref)
{
    if (ref != nullptr)
        std::free(ref);
}

}  // extern "C"
