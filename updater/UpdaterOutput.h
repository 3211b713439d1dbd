// What the updater prints, read without a process: its status records and
// its progress lines.
#ifndef VANTORIX_UPDATEROUTPUT_H
#define VANTORIX_UPDATEROUTPUT_H

#include <QByteArray>
#include <QList>
#include <cstdint>
#include <functional>

#include "Device.h"

class QIODevice;

namespace updateroutput {

// One status record: update flag, identifier, status flags, display name.
// Anything but exactly four fields is not a record and leaves `device` as is.
bool readStatusRecord(const QByteArray& record, Device& device);

// One record per line, in the updater's order; other lines are skipped.
void readStatusList(const QByteArray& output, QList<Device>& devices);

// The partial progress line kept between two reads of the update's output.
struct ProgressLine {
    static constexpr int kBufferSize = 100;
    // readLine is always given the full buffer size, even when a partial
    // line already fills part of it, so one read may write up to kBufferSize
    // bytes (99 characters and a NUL) starting at a fill of at most 98. The
    // storage covers that reach; the logical buffer stays kBufferSize
    // characters.
    static constexpr int kReadReach = kBufferSize;

    char buffer[kBufferSize + kReadReach] = {};
    int64_t fill = 0;
};

// Reads `output` until a read yields nothing, calling `progress` with the
// value of every complete line.
void readProgressLines(ProgressLine& line, QIODevice& output, const std::function<void(double)>& progress);

}  // namespace updateroutput

#endif
