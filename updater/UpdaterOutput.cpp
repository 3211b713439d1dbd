#include "UpdaterOutput.h"

#include <QIODevice>
#include <QString>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace updateroutput {

namespace {

// The updater's text is in the locale's encoding, the same one QProcess uses
// for the arguments that hand the card's identifier back to it.
QString fromUpdater(const QByteArray& text)
{
    return QString::fromLocal8Bit(text);
}

// Only the first two characters of the field count; anything "%hhx" cannot
// read leaves the flags at 0.
uint8_t parseStatusFlags(const QByteArray& field)
{
    char hex[3] = {0, 0, 0};
    std::memcpy(hex, field.constData(), static_cast<size_t>(qMin(field.size(), 2)));
    unsigned char flags = 0;
    std::sscanf(hex, "%hhx", &flags);
    return flags;
}

}  // namespace

bool readStatusRecord(const QByteArray& record, Device& device)
{
    const QList<QByteArray> fields = record.split(':');
    if (fields.size() != 4)
        return false;
    device.updateRequired = fields.at(0).constData()[0] == '1';
    device.devicePath = fromUpdater(fields.at(1));
    device.statusFlags = parseStatusFlags(fields.at(2));
    device.name = fromUpdater(fields.at(3));
    return true;
}

void readStatusList(const QByteArray& output, QList<Device>& devices)
{
    const QList<QByteArray> lines = output.split('\n');
    for (const QByteArray& line : lines) {
        Device device;
        if (readStatusRecord(line, device))
            devices.append(device);
    }
}

void readProgressLines(ProgressLine& line, QIODevice& output, const std::function<void(double)>& progress)
{
    // One percentage per line. A line that arrives in pieces is reassembled
    // only as far as this arithmetic allows: the read always asks for the
    // whole buffer size and the line end is looked for at this read's count
    // from the buffer's start. Kept so.
    for (;;) {
        const qint64 count = output.readLine(line.buffer + line.fill, ProgressLine::kBufferSize);
        if (count <= 0)
            return;
        if (line.buffer[count - 1] == '\n') {
            line.buffer[count - 1] = '\0';
            line.fill = 0;
            progress(std::strtod(line.buffer, nullptr));
        } else {
            line.fill = count - 1;
        }
    }
}

}  // namespace updateroutput
