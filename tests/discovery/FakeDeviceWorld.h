// A stand-in for the device access calls the discovery channel makes, linked
// in with --wrap so that channel tests need no device nodes. Configured from
// the environment at start-up (so that helper processes inherit it) or by
// the setters.
//
//   QUORVALE_FAKE_PRESENT=dv0,io1   devices the enumeration finds
//   QUORVALE_FAKE_UNOPENABLE=dv7    nodes whose open fails (every other known prefix opens)
//   QUORVALE_FAKE_NO_ITERATOR=1     CreateQuorvaleIterator fails
//   QUORVALE_FAKE_HOLD_ENUMERATION=1  the first device of an enumeration
//        announces "enumerating" on stdout and waits for a line on stdin
//   QUORVALE_FAKE_HOLD_ITERATOR=1   likewise before the iterator is created,
//        announcing "creating iterator"
//   QUORVALE_FAKE_ENUMERATION_PAUSE_US=200  each device found takes that long,
//        as a driver answering slowly would
#ifndef FAKE_DEVICE_WORLD_H
#define FAKE_DEVICE_WORLD_H

#include <string>

#include "QuorvaleDeviceNode.h"

namespace fakeworld {

void setPresent(const std::string& nodes);

// The node a fake device was opened from ("card" stays "card").
std::string nodeNameOf(const QuorvaleInstanceRec* device);
QuorvaleDeviceNode parseNode(const std::string& name);
std::string nodeName(const QuorvaleDeviceNode& node);

int opensTried();    // every QuorvaleOpenDevice call
int openDevices();   // opened and not yet closed
int closeAllOpen();  // frees what is still open; returns how many

}  // namespace fakeworld

#endif
