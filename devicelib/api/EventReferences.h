// Internals of the event references, for white-box tests.
#ifndef QUORVALE_EVENT_REFERENCES_H
#define QUORVALE_EVENT_REFERENCES_H

#include <cstddef>

namespace quorvale {

// Where event references come from; released with free(). Replaceable so a
// failing allocation can be exercised.
extern void* (*gEventRefAllocate)(std::size_t);

}  // namespace quorvale

#endif
