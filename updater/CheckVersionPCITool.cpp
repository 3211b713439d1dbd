#include "CheckVersionPCITool.h"

#include <QByteArray>
#include <cstdio>
#include <cstdlib>
#include <cstring>

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

// One status record: update flag, identifier, status flags, display name.
// Anything but exactly four fields is not a record.
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

}  // namespace

CheckVersionPCITool::CheckVersionPCITool(const QString& updaterPath, QObject* parent)
    : QObject(parent), m_updaterPath(updaterPath)
{
}

// A running update process is left alone: it is only ever deleted when it finishes.
CheckVersionPCITool::~CheckVersionPCITool() = default;

QProcess* CheckVersionPCITool::startUpdater(const QStringList& arguments) const
{
    auto* process = new QProcess;
    process->start(m_updaterPath, arguments, QIODevice::ReadWrite);
    return process;
}

void CheckVersionPCITool::checkDevice(const char* path, Device& device)
{
    QProcess* process = startUpdater({QStringLiteral("-gui"), QStringLiteral("status"),
                                      QString::fromLocal8Bit(path)});
    if (!process->waitForFinished(kWaitMilliseconds)) {
        process->kill();
        delete process;
        return;
    }
    if (process->exitCode() != 0) {
        delete process;
        return;
    }
    // The whole answer is one record, so the name keeps whatever follows the
    // third colon, line feed included.
    readStatusRecord(process->readAllStandardOutput(), device);
    // The answered process is kept to the end of the program on purpose.
}

void CheckVersionPCITool::checkDevices(QList<Device>& devices)
{
    devices.clear();
    QProcess* process = startUpdater({QStringLiteral("-gui"), QStringLiteral("status")});
    if (!process->waitForFinished(kWaitMilliseconds)) {
        process->kill();
    } else if (process->exitCode() == 0) {
        const QList<QByteArray> lines = process->readAllStandardOutput().split('\n');
        for (const QByteArray& line : lines) {
            Device device;
            if (readStatusRecord(line, device))
                devices.append(device);
        }
    }
    delete process;
}

void CheckVersionPCITool::disableVersionCheck(const Device& device)
{
    // The updater remembers the declined version itself; its answer is not needed.
    QProcess* process = startUpdater({QStringLiteral("-gui"), QStringLiteral("ignore-version"),
                                      device.devicePath});
    if (!process->waitForFinished(kWaitMilliseconds))
        process->kill();
    delete process;
}

void CheckVersionPCITool::updateFirmware(const Device& device)
{
    m_updateProcess = new QProcess;
    connect(m_updateProcess, SIGNAL(readyReadStandardOutput()), this, SLOT(updateProcessOutput()));
    connect(m_updateProcess, SIGNAL(finished(int,QProcess::ExitStatus)),
            this, SLOT(updateCompleted(int,QProcess::ExitStatus)));
    m_updateProcess->start(m_updaterPath,
                           {QStringLiteral("-gui"), QStringLiteral("update"), device.devicePath},
                           QIODevice::ReadWrite);
}

void CheckVersionPCITool::updateProcessOutput()
{
    // One percentage per line. A line that arrives in pieces is reassembled
    // only as far as this arithmetic allows: the read always asks for the
    // whole buffer size and the line end is looked for at this read's count
    // from the buffer's start. Kept so.
    for (;;) {
        const qint64 count = m_updateProcess->readLine(m_lineBuffer + m_lineFill, kLineBufferSize);
        if (count <= 0)
            return;
        if (m_lineBuffer[count - 1] == '\n') {
            m_lineBuffer[count - 1] = '\0';
            m_lineFill = 0;
            emit updateProgress(std::strtod(m_lineBuffer, nullptr));
        } else {
            m_lineFill = count - 1;
        }
    }
}

void CheckVersionPCITool::updateCompleted(int exitCode, QProcess::ExitStatus exitStatus)
{
    Q_UNUSED(exitStatus)  // only the exit code decides
    disconnect(m_updateProcess, SIGNAL(readyReadStandardOutput()), this, SLOT(updateProcessOutput()));
    disconnect(m_updateProcess, SIGNAL(finished(int,QProcess::ExitStatus)),
               this, SLOT(updateCompleted(int,QProcess::ExitStatus)));
    delete m_updateProcess;
    emit updateComplete(exitCode == 0);
}
