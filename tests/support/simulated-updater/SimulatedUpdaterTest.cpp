// The scripted stand-in for the external updater, run directly.
#include <QProcess>
#include <QtTest>

#include "SimulatedUpdaterFixture.h"

class SimulatedUpdaterTest : public QObject {
    Q_OBJECT

    struct Run {
        QByteArray out;
        QByteArray err;
        int exitCode = -1;
        QProcess::ExitStatus exitStatus = QProcess::NormalExit;
    };

    static Run run(const QStringList& arguments)
    {
        QProcess process;
        process.start(SimulatedUpdaterFixture::program(), arguments);
        Run result;
        if (!process.waitForFinished(10000))
            return result;
        result.out = process.readAllStandardOutput();
        result.err = process.readAllStandardError();
        result.exitCode = process.exitCode();
        result.exitStatus = process.exitStatus();
        return result;
    }

private slots:
    void exactTargetBeforeWildcard()
    {
        SimulatedUpdaterFixture updater;
        QVERIFY(updater.setScenario({QStringLiteral("status * out any"), QStringLiteral("status /dev/vantorix/dv0 out dv0"),
                                     QStringLiteral("status /dev/vantorix/dv0 exit 4"), QStringLiteral("status - out all")}));
        const Run exact = run({QStringLiteral("-gui"), QStringLiteral("status"), QStringLiteral("/dev/vantorix/dv0")});
        QCOMPARE(exact.out, QByteArray("dv0"));
        QCOMPARE(exact.exitCode, 4);
        const Run other = run({QStringLiteral("-gui"), QStringLiteral("status"), QStringLiteral("/dev/vantorix/dv1")});
        QCOMPARE(other.out, QByteArray("any"));
        QCOMPARE(other.exitCode, 0);
        const Run none = run({QStringLiteral("-gui"), QStringLiteral("status")});
        QCOMPARE(none.out, QByteArray("all"));
    }

    void escapesAndStreams()
    {
        SimulatedUpdaterFixture updater;
        QVERIFY(updater.setScenario({QStringLiteral("update x out a\\tb\\\\c\\x01 d\\s\\n"), QStringLiteral("update x err e:r\\n"),
                                     QStringLiteral("update x repeat 3 ab"),
                                     QStringLiteral("update x out ") + SimulatedUpdaterFixture::escaped("\r\n \\ \xff")}));
        const Run result = run({QStringLiteral("-gui"), QStringLiteral("update"), QStringLiteral("x")});
        QCOMPARE(result.out, QByteArray("a\tb\\c\x01 d \nababab\r\n \\ \xff"));
        QCOMPARE(result.err, QByteArray("e:r\n"));
    }

    void unscriptedRunFailsLoudly()
    {
        SimulatedUpdaterFixture updater;
        QVERIFY(updater.setScenario({QStringLiteral("status * exit 0")}));
        const Run result = run({QStringLiteral("-gui"), QStringLiteral("update"), QStringLiteral("x")});
        QCOMPARE(result.exitCode, 99);
        QVERIFY(result.err.contains("no scenario for 'update' 'x'"));
    }

    void signalEndsTheRun()
    {
        SimulatedUpdaterFixture updater;
        QVERIFY(updater.setScenario({QStringLiteral("status * out partial"), QStringLiteral("status * signal TERM"),
                                     QStringLiteral("status * out never")}));
        const Run result = run({QStringLiteral("status")});
        QCOMPARE(result.exitStatus, QProcess::CrashExit);
        QCOMPARE(result.exitCode, 15);
        QCOMPARE(result.out, QByteArray("partial"));
    }

    void logKeepsEveryArgument()
    {
        SimulatedUpdaterFixture updater;
        QVERIFY(updater.setScenario({QStringLiteral("a * exit 0")}));
        run({QStringLiteral("-gui"), QStringLiteral("a"), QStringLiteral("tab\there"), QStringLiteral("line\nfeed\\")});
        run({QStringLiteral("a")});
        run({});
        // runs() skips the empty line of the run without arguments.
        const QList<QStringList> expected = {
            {QStringLiteral("-gui"), QStringLiteral("a"), QStringLiteral("tab\there"), QStringLiteral("line\nfeed\\")},
            {QStringLiteral("a")}};
        QCOMPARE(updater.runs(), expected);
        QFile log(updater.logPath());
        QVERIFY(log.open(QIODevice::ReadOnly));
        QCOMPARE(log.readAll(), QByteArray("-gui\ta\ttab\\there\tline\\nfeed\\\\\na\n\n"));
    }
};

QTEST_GUILESS_MAIN(SimulatedUpdaterTest)
#include "SimulatedUpdaterTest.moc"
