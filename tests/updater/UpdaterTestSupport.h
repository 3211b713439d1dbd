// Shared pieces of the updater client tests: one tool per test function,
// pointed at the simulated updater through a path string whose holders the
// tests count (every live QProcess started by the tool holds one).
#ifndef VANTORIX_UPDATERTESTSUPPORT_H
#define VANTORIX_UPDATERTESTSUPPORT_H

#include <QStringList>
#include <QtTest>
#include <memory>

#include "CheckVersionPCITool.h"
#include "SimulatedUpdaterFixture.h"

inline const char kCard[] = "/dev/vantorix/dv0";

// How many strings share this text.
inline int holdersOf(const QString& text)
{
    return const_cast<QString&>(text).data_ptr()->ref.atomic.loadRelaxed();
}

class UpdaterClientHarness {
public:
    UpdaterClientHarness() : m_path(SimulatedUpdaterFixture::program()) {}

    // Ready when the fixture's folder exists.
    bool start()
    {
        m_tool = std::make_unique<CheckVersionPCITool>(m_path);
        return m_updater.isValid();
    }

    CheckVersionPCITool& tool() { return *m_tool; }
    SimulatedUpdaterFixture& updater() { return m_updater; }
    const QString& path() const { return m_path; }
    void destroyTool() { m_tool.reset(); }

    // Holders of the path text beyond the test's own copy and the tool's: one
    // per QProcess of the tool that is still allocated.
    int liveProcesses() const { return holders() - (m_tool ? 2 : 1); }

    // "<command> <target> <step>" lines for one run.
    bool script(const QString& command, const QString& target, const QStringList& steps) const
    {
        QStringList lines;
        for (const QString& step : steps)
            lines << command + QLatin1Char(' ') + target + QLatin1Char(' ') + step;
        return m_updater.setScenario(lines);
    }

    // A status answer for kCard: the exact bytes, then the exit code.
    bool answerStatus(const QByteArray& output, int exitCode = 0,
                      const QString& target = QString::fromLatin1(kCard)) const
    {
        return script(QStringLiteral("status"), target,
                      {QStringLiteral("out ") + SimulatedUpdaterFixture::escaped(output),
                       QStringLiteral("exit %1").arg(exitCode)});
    }

private:
    int holders() const { return holdersOf(m_path); }

    SimulatedUpdaterFixture m_updater;
    QString m_path;
    std::unique_ptr<CheckVersionPCITool> m_tool;
};

// A record that an answer has to overwrite to change.
inline Device prefilledDevice()
{
    Device device;
    device.name = QStringLiteral("Kept name");
    device.updateRequired = true;
    device.devicePath = QStringLiteral("/dev/vantorix/kept");
    device.statusFlags = 0x5a;
    return device;
}

#define VERIFY_PREFILLED(device)                                             \
    do {                                                                     \
        const Device& kept_ = (device);                                      \
        QCOMPARE(kept_.name, QStringLiteral("Kept name"));                   \
        QCOMPARE(kept_.updateRequired, true);                                \
        QCOMPARE(kept_.devicePath, QStringLiteral("/dev/vantorix/kept"));    \
        QCOMPARE(int(kept_.statusFlags), 0x5a);                              \
    } while (0)

// Collects every Qt message while alive.
class MessageCatcher {
public:
    MessageCatcher() { s_messages.clear(); m_previous = qInstallMessageHandler(&MessageCatcher::catchMessage); }
    ~MessageCatcher() { qInstallMessageHandler(m_previous); }
    QStringList messages() const { return s_messages; }

private:
    static void catchMessage(QtMsgType, const QMessageLogContext&, const QString& text) { s_messages << text; }
    static inline QStringList s_messages;
    QtMessageHandler m_previous;
};

#endif
