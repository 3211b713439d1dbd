// The ordered list of device nodes an iterator hands out as open devices.
#ifndef QUORVALE_ITERATOR_H
#define QUORVALE_ITERATOR_H

#include <sys/stat.h>

#include <cstdint>
#include <deque>
#include <list>

#include "QuorvaleDeviceNode.h"

struct QuorvaleIteratorRec {
    uint32_t nextIndex;
    std::deque<QuorvaleDeviceNode> nodes;  // final order
};

// One probed node while enumerating: the node and what GetSubDeviceInfo said.
struct EnumeratedDeviceListElmt {
    QuorvaleDeviceNode node;
    uint32_t subDeviceIndex;
    uint32_t subDeviceCount;
    uint32_t parentDeviceId;
};

namespace quorvale {

// Only character devices of the driver's major number are probed.
bool isDriverNode(const struct stat& status);

// Opens `path` for reading and writing only if it is a character device of
// the driver, so that nothing else (a FIFO, a terminal, a file on a network)
// is ever opened, nor an open left waiting on one. -1 otherwise.
int openDriverNode(const char* path);

// Sorts the probed nodes (stable, by node) and appends them to `nodes` with
// the sub-devices of one physical card together, in sub-device order. An
// element with a count of 0, or whose index is not below its count, is never
// consumed and the pass does not end: drivers never report either.
void orderEnumeratedDevices(std::list<EnumeratedDeviceListElmt>& list,
                            std::deque<QuorvaleDeviceNode>& nodes);

}  // namespace quorvale

#endif
