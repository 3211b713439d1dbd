// A hanging updater is killed after the client's 30 s wait: the real wait,
// one case per ctest entry so that the cases can run side by side.
#include <QElapsedTimer>
#include <QtTest>

#include "UpdaterTestSupport.h"

namespace {

constexpr qint64 kWait = 30000;

}  // namespace

class UpdaterTimeoutTest : public QObject {
    Q_OBJECT

    std::unique_ptr<UpdaterClientHarness> m_harness;
    QElapsedTimer m_timer;

    UpdaterClientHarness& harness() { return *m_harness; }

    bool hangOn(const QString& command, const QString& target)
    {
        // kill() comes right before the delete, so Qt finds the process
        // still running and says so.
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^QProcess: Destroyed while process")));
        m_timer.start();
        return harness().script(command, target, {QStringLiteral("out 1:ABC:1f:Card\\n"), QStringLiteral("hang")});
    }

    void verifyKilledAfterTheWait()
    {
        const qint64 elapsed = m_timer.elapsed();
        QVERIFY2(elapsed >= kWait - 100, qPrintable(QString::number(elapsed)));
        QVERIFY2(elapsed < kWait + 10000, qPrintable(QString::number(elapsed)));
        QCOMPARE(harness().updater().runs().size(), 1);
        QCOMPARE(harness().liveProcesses(), 0);
    }

private slots:
    void init()
    {
        m_harness = std::make_unique<UpdaterClientHarness>();
        QVERIFY(m_harness->start());
    }

    void cleanup() { m_harness.reset(); }

    void oneCardHangingUpdater()
    {
        QVERIFY(hangOn(QStringLiteral("status"), QString::fromLatin1(kCard)));
        Device device = prefilledDevice();
        harness().tool().checkDevice(kCard, device);
        verifyKilledAfterTheWait();
        VERIFY_PREFILLED(device);
    }

    void allCardsHangingUpdater()
    {
        QVERIFY(hangOn(QStringLiteral("status"), QStringLiteral("-")));
        QList<Device> devices = {prefilledDevice()};
        harness().tool().checkDevices(devices);
        verifyKilledAfterTheWait();
        QVERIFY(devices.isEmpty());
    }

    void ignoreVersionHangingUpdater()
    {
        QVERIFY(hangOn(QStringLiteral("ignore-version"), QString::fromLatin1(kCard)));
        Device device;
        device.devicePath = QString::fromLatin1(kCard);
        harness().tool().disableVersionCheck(device);
        verifyKilledAfterTheWait();
    }
};

QTEST_GUILESS_MAIN(UpdaterTimeoutTest)
#include "UpdaterTimeoutTest.moc"
