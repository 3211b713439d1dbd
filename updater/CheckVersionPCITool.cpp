#include "CheckVersionPCITool.h"

#include "UpdaterOutput.h"

using updateroutput::readStatusRecord;

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
        updateroutput::readStatusList(process->readAllStandardOutput(), devices);
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
    updateroutput::readProgressLines(m_progressLine, *m_updateProcess,
                                     [this](double percent) { emit updateProgress(percent); });
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
