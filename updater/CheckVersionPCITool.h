// Runs the external command-line firmware updater and reads its answers.
#ifndef VANTORIX_CHECKVERSIONPCITOOL_H
#define VANTORIX_CHECKVERSIONPCITOOL_H

#include <QList>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <cstdint>

#include "Device.h"

class CheckVersionPCITool : public QObject {
    Q_OBJECT

public:
    // The owner decides which updater runs; this class never looks it up.
    explicit CheckVersionPCITool(const QString& updaterPath, QObject* parent = nullptr);
    ~CheckVersionPCITool() override;

    // Blocking calls: each waits up to 30 s for its own fresh updater process.
    void checkDevice(const char* path, Device& device);
    void checkDevices(QList<Device>& devices);
    void disableVersionCheck(const Device& device);

    // Returns at once; progress and the end arrive as signals through the
    // caller's event loop.
    void updateFirmware(const Device& device);

signals:
    void updateProgress(double percent);
    void updateComplete(bool success);

private slots:
    void updateProcessOutput();
    void updateCompleted(int exitCode, QProcess::ExitStatus exitStatus);

private:
    static constexpr int kWaitMilliseconds = 30000;
    static constexpr int kLineBufferSize = 100;
    // readLine is always given the full buffer size, even when a partial line
    // already fills part of it, so one read may write up to kLineBufferSize
    // bytes (99 characters and a NUL) starting at a fill of at most 98. The
    // storage behind the line buffer covers that reach; the logical buffer
    // stays kLineBufferSize characters.
    static constexpr int kLineReadReach = kLineBufferSize;

    QProcess* startUpdater(const QStringList& arguments) const;

    QString m_updaterPath;
    QProcess* m_updateProcess = nullptr;
    char m_lineBuffer[kLineBufferSize + kLineReadReach] = {};
    int64_t m_lineFill = 0;
};

#endif
