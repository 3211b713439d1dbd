// The asynchronous firmware update of the updater client: progress lines,
// completion, and the client's meta-object, against the simulated updater.
#include <QElapsedTimer>
#include <QMetaMethod>
#include <QThread>
#include <QtTest>

#include "UpdaterTestSupport.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#define IGNORE_LEAKS_BEGIN() __lsan_disable()
#define IGNORE_LEAKS_END() __lsan_enable()
#else
#define IGNORE_LEAKS_BEGIN() ((void)0)
#define IGNORE_LEAKS_END() ((void)0)
#endif

namespace {

// "progress <value>" and "complete <true|false>" in the order the tool emitted them.
class SignalRecorder {
public:
    explicit SignalRecorder(CheckVersionPCITool& tool)
    {
        QObject::connect(&tool, &CheckVersionPCITool::updateProgress, &m_context,
                         [this](double percent) { m_events << QStringLiteral("progress %1").arg(percent); });
        QObject::connect(&tool, &CheckVersionPCITool::updateComplete, &m_context, [this](bool success) {
            m_events << (success ? QStringLiteral("complete true") : QStringLiteral("complete false"));
        });
    }

    QStringList events() const { return m_events; }
    int completions() const { return m_events.filter(QStringLiteral("complete")).size(); }

private:
    QObject m_context;
    QStringList m_events;
};

QStringList expectedEvents(const QList<double>& progress, bool success)
{
    QStringList events;
    for (double percent : progress)
        events << QStringLiteral("progress %1").arg(percent);
    events << (success ? QStringLiteral("complete true") : QStringLiteral("complete false"));
    return events;
}

Device card()
{
    Device device;
    device.devicePath = QString::fromLatin1(kCard);
    device.name = QStringLiteral("Quorvale Duo");
    device.updateRequired = true;
    return device;
}

// Every piece of output is its own write, taken by the reader before the next.
QStringList piecesOneByOne(const QList<QByteArray>& pieces)
{
    QStringList steps;
    for (const QByteArray& piece : pieces)
        steps << QStringLiteral("out ") + SimulatedUpdaterFixture::escaped(piece) << QStringLiteral("drain");
    return steps;
}

}  // namespace

class UpdaterUpdateTest : public QObject {
    Q_OBJECT

    std::unique_ptr<UpdaterClientHarness> m_harness;

    CheckVersionPCITool& tool() { return m_harness->tool(); }
    UpdaterClientHarness& harness() { return *m_harness; }

    bool scriptUpdate(const QStringList& steps) const
    {
        return m_harness->script(QStringLiteral("update"), QString::fromLatin1(kCard), steps);
    }

    // Runs one update to its end and returns everything the tool emitted;
    // waits a little longer to see that nothing follows the completion.
    QStringList runUpdate(CheckVersionPCITool& updater)
    {
        SignalRecorder recorder(updater);
        updater.updateFirmware(card());
        // Without a completion the events never equal an expectation.
        if (QTest::qWaitFor([&] { return recorder.completions() > 0; }, 20000))
            QTest::qWait(100);
        return recorder.events();
    }

private slots:
    void init()
    {
        m_harness = std::make_unique<UpdaterClientHarness>();
        QVERIFY(m_harness->start());
    }

    void cleanup() { m_harness.reset(); }

    void metaObjectMethodOrder()
    {
        const QMetaObject& meta = CheckVersionPCITool::staticMetaObject;
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 4);
        const struct {
            const char* signature;
            QMetaMethod::MethodType type;
        } expected[] = {{"updateProgress(double)", QMetaMethod::Signal},
                        {"updateComplete(bool)", QMetaMethod::Signal},
                        {"updateProcessOutput()", QMetaMethod::Slot},
                        {"updateCompleted(int,QProcess::ExitStatus)", QMetaMethod::Slot}};
        for (int i = 0; i < 4; ++i) {
            const QMetaMethod method = meta.method(meta.methodOffset() + i);
            QCOMPARE(method.methodSignature(), QByteArray(expected[i].signature));
            QCOMPARE(method.methodType(), expected[i].type);
        }
    }

    void updateCommandLine()
    {
        Device device = card();
        device.devicePath = QStringLiteral("/dev/vantorix/card 2");
        SignalRecorder recorder(tool());
        QVERIFY(harness().script(QStringLiteral("update"), QStringLiteral("*"), {QStringLiteral("exit 0")}));
        tool().updateFirmware(device);
        QTRY_COMPARE_WITH_TIMEOUT(recorder.completions(), 1, 20000);
        const QList<QStringList> expected = {
            {QStringLiteral("-gui"), QStringLiteral("update"), QStringLiteral("/dev/vantorix/card 2")}};
        QCOMPARE(harness().updater().runs(), expected);
    }

    void progressLines_data()
    {
        QTest::addColumn<QList<QByteArray>>("pieces");
        QTest::addColumn<QList<double>>("progress");
        const auto row = [](const char* tag, const QList<QByteArray>& pieces, const QList<double>& progress) {
            QTest::newRow(tag) << pieces << progress;
        };
        row("12.5 gives 12.5", {"12.5\n"}, {12.5});
        row("abc gives 0", {"abc\n"}, {0.0});
        row("trailing text is ignored", {"50 percent\n"}, {50.0});
        row("empty line gives 0", {"\n"}, {0.0});
        row("one line per write", {"0\n", "33.3\n", "66.7\n", "100\n"}, {0.0, 33.3, 66.7, 100.0});
        row("several lines in one write", {"10\n20\n30\n"}, {10.0, 20.0, 30.0});
        row("last line without line feed", {"40\n", "55"}, {40.0});
        row("no output", {}, {});
        // Lines that arrive in several writes are reassembled only as the
        // line arithmetic allows.
        row("split after the first character", {"1", "2.5\n"}, {2.5});
        row("split after two characters", {"12", ".5\n", "75\n"}, {});
        row("split lines then an empty line", {"25.5\n", "1", "2.5\n", "12", ".5\n", "\n", "80\n"},
            {25.5, 2.5, 80.0});
        // Lines longer than 99 characters are taken in pieces of 99.
        row("99 characters", {QByteArray(99, '1') + "\n30\n"}, {30.0});
        row("100 characters", {QByteArray(100, '2') + "\n30\n\n40\n"}, {40.0});
        row("150 characters", {QByteArray(150, '7') + "\n\n30\n"}, {30.0});
        row("300 characters", {QByteArray(300, '9') + "\n\n30\n"}, {30.0});
        row("300 characters then a line", {QByteArray(300, '9') + "\n", "30\n"}, {});
    }

    void progressLines()
    {
        QFETCH(QList<QByteArray>, pieces);
        QFETCH(QList<double>, progress);
        QVERIFY(scriptUpdate(piecesOneByOne(pieces) << QStringLiteral("exit 0")));
        QCOMPARE(runUpdate(tool()), expectedEvents(progress, true));
    }

    void progressLinesWithDelays()
    {
        QVERIFY(scriptUpdate({QStringLiteral("out 10\\n"), QStringLiteral("sleep 150"), QStringLiteral("out 20\\n"),
                              QStringLiteral("sleep 150"), QStringLiteral("out 30\\n"), QStringLiteral("exit 0")}));
        QCOMPARE(runUpdate(tool()), expectedEvents({10, 20, 30}, true));
    }

    void progressFromStandardOutputOnly()
    {
        QVERIFY(scriptUpdate({QStringLiteral("err 99\\n"), QStringLiteral("out 42\\n"), QStringLiteral("exit 0")}));
        QCOMPARE(runUpdate(tool()), expectedEvents({42}, true));
    }

    void megabyteOfProgress()
    {
        const int lines = 1 << 19;  // "7\n" each: 1 MiB
        QVERIFY(scriptUpdate({QStringLiteral("repeat %1 7\\n").arg(lines), QStringLiteral("exit 0")}));
        int count = 0;
        bool allSeven = true;
        int completions = 0;
        QObject context;
        connect(&tool(), &CheckVersionPCITool::updateProgress, &context, [&](double percent) {
            ++count;
            allSeven = allSeven && percent == 7.0;
        });
        connect(&tool(), &CheckVersionPCITool::updateComplete, &context, [&](bool) { ++completions; });
        tool().updateFirmware(card());
        QTRY_COMPARE_WITH_TIMEOUT(completions, 1, 60000);
        QCOMPARE(count, lines);
        QVERIFY(allSeven);
    }

    // The fill of a partial line is not reset by a new update.
    void partialLineCarriesIntoNextUpdate()
    {
        QVERIFY(scriptUpdate(piecesOneByOne({"12"}) << QStringLiteral("exit 0")));
        QCOMPARE(runUpdate(tool()), expectedEvents({}, true));
        QVERIFY(scriptUpdate(piecesOneByOne({"40\n", "\n", "60\n"}) << QStringLiteral("exit 0")));
        QCOMPARE(runUpdate(tool()), expectedEvents({60}, true));

        CheckVersionPCITool fresh(harness().path());
        QCOMPARE(runUpdate(fresh), expectedEvents({40, 0, 60}, true));
    }

    void exitCodeDecides_data()
    {
        QTest::addColumn<QString>("end");
        QTest::addColumn<bool>("success");
        QTest::newRow("exit 0") << QStringLiteral("exit 0") << true;
        QTest::newRow("exit 1") << QStringLiteral("exit 1") << false;
        QTest::newRow("exit 255") << QStringLiteral("exit 255") << false;
        QTest::newRow("SEGV") << QStringLiteral("signal SEGV") << false;
        QTest::newRow("KILL") << QStringLiteral("signal KILL") << false;
    }

    void exitCodeDecides()
    {
        QFETCH(QString, end);
        QFETCH(bool, success);
        QVERIFY(scriptUpdate({QStringLiteral("out 50\\n"), QStringLiteral("drain"), end}));
        QCOMPARE(runUpdate(tool()), expectedEvents({50}, success));
    }

    // A real crash always carries the signal number as exit code, so the
    // completion is driven directly while a real update runs.
    void exitStatusIsNotLookedAt_data()
    {
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<int>("exitStatus");
        QTest::addColumn<bool>("success");
        QTest::newRow("0, crash") << 0 << int(QProcess::CrashExit) << true;
        QTest::newRow("0, normal") << 0 << int(QProcess::NormalExit) << true;
        QTest::newRow("1, normal") << 1 << int(QProcess::NormalExit) << false;
        QTest::newRow("11, crash") << 11 << int(QProcess::CrashExit) << false;
    }

    void exitStatusIsNotLookedAt()
    {
        QFETCH(int, exitCode);
        QFETCH(int, exitStatus);
        QFETCH(bool, success);
        QVERIFY(scriptUpdate({QStringLiteral("hang")}));
        SignalRecorder recorder(tool());
        tool().updateFirmware(card());
        QTRY_COMPARE_WITH_TIMEOUT(harness().updater().runs().size(), 1, 20000);
        QCOMPARE(harness().liveProcesses(), 1);
        // Deleting the running process makes Qt kill it and say so.
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^QProcess: Destroyed while process")));
        QVERIFY(QMetaObject::invokeMethod(&tool(), "updateCompleted", Q_ARG(int, exitCode),
                                          Q_ARG(QProcess::ExitStatus, QProcess::ExitStatus(exitStatus))));
        QCOMPARE(recorder.events(), expectedEvents({}, success));
        QCOMPARE(harness().liveProcesses(), 0);
        QTest::qWait(200);  // the dropped connections deliver nothing more
        QCOMPARE(recorder.completions(), 1);
    }

    void updateProcessIsDeletedAtTheEnd()
    {
        QVERIFY(scriptUpdate({QStringLiteral("out 1\\n"), QStringLiteral("sleep 300"), QStringLiteral("exit 0")}));
        SignalRecorder recorder(tool());
        tool().updateFirmware(card());
        QCOMPARE(harness().liveProcesses(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(recorder.completions(), 1, 20000);
        QCOMPARE(harness().liveProcesses(), 0);
    }

    void updateReturnsAtOnceAndReportsThroughTheEventLoop()
    {
        QVERIFY(scriptUpdate({QStringLiteral("out 5\\n"), QStringLiteral("exit 0")}));
        SignalRecorder recorder(tool());
        QElapsedTimer timer;
        timer.start();
        tool().updateFirmware(card());
        QVERIFY(timer.elapsed() < 2000);
        // The updater runs and ends meanwhile, but no event loop runs here.
        for (int waited = 0; harness().updater().runs().isEmpty() && waited < 10000; waited += 10)
            QThread::msleep(10);
        QCOMPARE(harness().updater().runs().size(), 1);
        QThread::msleep(300);
        QCOMPARE(recorder.events(), QStringList());
        QTRY_COMPARE_WITH_TIMEOUT(recorder.completions(), 1, 20000);
        QCOMPARE(recorder.events(), expectedEvents({5}, true));
    }

    void startFailureIsNotReported()
    {
        CheckVersionPCITool missing(harness().updater().folder() + QStringLiteral("/missing"));
        SignalRecorder recorder(missing);
        MessageCatcher catcher;
        missing.updateFirmware(card());
        QTest::qWait(500);
        QCOMPARE(recorder.events(), QStringList());
        QCOMPARE(catcher.messages(), QStringList());
        // Only a finish ends an update; driving one releases the never-started process.
        QVERIFY(QMetaObject::invokeMethod(&missing, "updateCompleted", Q_ARG(int, 0),
                                          Q_ARG(QProcess::ExitStatus, QProcess::NormalExit)));
        QCOMPARE(recorder.events(), expectedEvents({}, true));
    }

    // Destroying the tool leaves a running update process allocated.
    void destructorLeavesTheUpdateProcess()
    {
        QVERIFY(scriptUpdate({QStringLiteral("sleep 200"), QStringLiteral("exit 0")}));
        IGNORE_LEAKS_BEGIN();  // the abandoned process is this test's own doing
        tool().updateFirmware(card());
        IGNORE_LEAKS_END();
        QCOMPARE(harness().liveProcesses(), 1);
        harness().destroyTool();
        QCOMPARE(harness().liveProcesses(), 1);
        QTest::qWait(600);  // its end reaches nobody
        QCOMPARE(harness().liveProcesses(), 1);
    }
};

QTEST_GUILESS_MAIN(UpdaterUpdateTest)
#include "UpdaterUpdateTest.moc"
