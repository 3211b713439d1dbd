// Main in process: argument rules (in child processes, since a process reads
// its arguments once), the signal wiring of run(), and a normal pass without
// cards.
#include <QDialog>
#include <QSignalSpy>
#include <QtTest>

#include <csignal>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "Main.h"
#include "SignalManager.h"
#include "SignalNotifier.h"
#include "SimulatedUpdaterFixture.h"

extern char** environ;

namespace {

const char kProbeVariable[] = "VANTORIX_ARGUMENT_PROBE";

// Child side: parse the arguments as the program does and report the flags
// as the exit status (daemon 2 + quiet 1).
int probeArguments(int argc, char** argv)
{
    QApplication application(argc, argv);
    Main program(application);
    program.parseArguments();
    return (program.daemon ? 2 : 0) + (program.quiet ? 1 : 0);
}

// Runs this test binary as a probe with exactly `arguments` as its argument
// vector, element 0 included; returns the exit status.
int flagsFor(const QStringList& arguments)
{
    QList<QByteArray> bytes;
    for (const QString& argument : arguments)
        bytes << argument.toLocal8Bit();
    std::vector<char*> argv;
    for (QByteArray& b : bytes)
        argv.push_back(b.data());
    argv.push_back(nullptr);
    const QByteArray self = QCoreApplication::applicationFilePath().toLocal8Bit();
    pid_t child = 0;
    if (posix_spawn(&child, self.constData(), nullptr, nullptr, argv.data(), environ) != 0)
        return -1;
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

class MainTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { qputenv(kProbeVariable, "1"); }
    void cleanupTestCase() { qunsetenv(kProbeVariable); }

    void argumentRules_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("flags");
        const int none = 0, quiet = 1, daemonQuiet = 3;
        const QString prog = QStringLiteral("VantorixFirmwareUpdaterGui");
        QTest::newRow("no switch") << QStringList{prog} << none;
        QTest::newRow("-q") << QStringList{prog, "-q"} << quiet;
        QTest::newRow("--quiet") << QStringList{prog, "--quiet"} << quiet;
        QTest::newRow("-d alone implies quiet") << QStringList{prog, "-d"} << daemonQuiet;
        QTest::newRow("--daemon") << QStringList{prog, "--daemon"} << daemonQuiet;
        QTest::newRow("-Q") << QStringList{prog, "-Q"} << none;
        QTest::newRow("-D") << QStringList{prog, "-D"} << none;
        QTest::newRow("--Quiet") << QStringList{prog, "--Quiet"} << none;
        QTest::newRow("--DAEMON") << QStringList{prog, "--DAEMON"} << none;
        QTest::newRow("--quiet=1") << QStringList{prog, "--quiet=1"} << none;
        QTest::newRow("--daemon=yes") << QStringList{prog, "--daemon=yes"} << none;
        QTest::newRow("-q1") << QStringList{prog, "-q1"} << none;
        QTest::newRow("-qd") << QStringList{prog, "-qd"} << none;
        QTest::newRow("-dq") << QStringList{prog, "-dq"} << none;
        QTest::newRow("leading blank") << QStringList{prog, " -q"} << none;
        QTest::newRow("single dash long") << QStringList{prog, "-quiet"} << none;
        QTest::newRow("element 0 is -q") << QStringList{"-q"} << quiet;
        QTest::newRow("element 0 is --daemon") << QStringList{"--daemon"} << daemonQuiet;
        QTest::newRow("repeated") << QStringList{prog, "-q", "-q", "--quiet"} << quiet;
        QTest::newRow("mixed, daemon after quiet") << QStringList{prog, "-q", "-d"} << daemonQuiet;
        QTest::newRow("nothing stops the scan") << QStringList{prog, "--", "x", "-d"} << daemonQuiet;
        QTest::newRow("unknown ignored") << QStringList{prog, "--help", "-x", "-q"} << quiet;
    }

    void argumentRules()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, flags);
        QCOMPARE(flagsFor(arguments), flags);
    }

    void constructedIdle()
    {
        Main program(*qApp);
        QCOMPARE(&program.application, qApp);
        QVERIFY(program.parent() == nullptr);
        QVERIFY(!program.daemon);
        QVERIFY(!program.quiet);
        QVERIFY(program.terminateNotifier == nullptr);
        QVERIFY(program.interruptNotifier == nullptr);
        QVERIFY(program.hangupNotifier == nullptr);
        // No signals, slots or properties of its own.
        QCOMPARE(Main::staticMetaObject.methodCount(), QObject::staticMetaObject.methodCount());
        QCOMPARE(Main::staticMetaObject.propertyCount(), QObject::staticMetaObject.propertyCount());
        // The manager is held by value.
        const auto* begin = reinterpret_cast<const char*>(&program);
        const auto* manager = reinterpret_cast<const char*>(&program.updateManager);
        QVERIFY(manager > begin && manager < begin + sizeof(Main));
    }

    void runWiresThreeSignalsToQuitThenPasses()
    {
        // No /dev/vantorix here: the pass finds no card; quiet shows nothing.
        QVERIFY(!QFile::exists(QStringLiteral("/dev/vantorix")));
        SimulatedUpdaterFixture updater;
        qputenv("VANTORIX_FIRMWARE_UPDATER_PATH", SimulatedUpdaterFixture::program().toLocal8Bit());
        Main program(*qApp);
        program.quiet = true;
        int shown = 0;
        QTimer watch;
        connect(&watch, &QTimer::timeout, [&] {
            if (QWidget* modal = QApplication::activeModalWidget()) {
                ++shown;
                modal->close();
            }
        });
        watch.start(10);
        QCOMPARE(program.run(), 0);
        QCOMPARE(shown, 0);
        QVERIFY(updater.runs().isEmpty());
        qunsetenv("VANTORIX_FIRMWARE_UPDATER_PATH");

        const struct {
            SignalNotifier* notifier;
            int number;
        } wired[] = {{program.terminateNotifier, 15}, {program.interruptNotifier, 2}, {program.hangupNotifier, 1}};
        for (const auto& w : wired) {
            QVERIFY(w.notifier != nullptr);
            QCOMPARE(w.notifier->signalNumber, w.number);
            QCOMPARE(w.notifier->parent(), qApp);
            // raised() reaches the application's quit(), which ends the loop.
            SignalNotifier* notifier = w.notifier;
            QTimer::singleShot(0, [notifier] { notifier->raise(0); });
            QTimer watchdog;
            watchdog.setSingleShot(true);
            connect(&watchdog, &QTimer::timeout, [] { QCoreApplication::exit(7); });
            watchdog.start(3000);
            QCOMPARE(QCoreApplication::exec(), 0);
            struct sigaction action;
            sigaction(w.number, nullptr, &action);
            QVERIFY(action.sa_handler == SignalManager::Handle);
        }
        // Registered in the order 15, 2, 1.
        const QList<SignalNotifier*>& all = SignalNotifier::s_manager->notifiers;
        QCOMPARE(all.mid(all.size() - 3),
                 (QList<SignalNotifier*>{program.terminateNotifier, program.interruptNotifier,
                                         program.hangupNotifier}));
    }

    void signalDuringADialogEndsThatDialogsLoop_data()
    {
        QTest::addColumn<int>("sig");
        QTest::newRow("SIGTERM") << int(SIGTERM);
        QTest::newRow("SIGINT") << int(SIGINT);
        QTest::newRow("SIGHUP") << int(SIGHUP);
    }

    void signalDuringADialogEndsThatDialogsLoop()
    {
        // Relies on the notifiers wired by the previous test (they live with
        // the application, like the program's own).
        QVERIFY(SignalNotifier::s_manager != nullptr);
        QFETCH(int, sig);
        QDialog dialog;
        QSignalSpy aboutToQuit(qApp, SIGNAL(aboutToQuit()));
        QTimer::singleShot(50, [sig] { kill(getpid(), sig); });
        QTimer::singleShot(20000, &dialog, [&dialog] { dialog.done(42); });
        QElapsedTimer clock;
        clock.start();
        const int result = dialog.exec();
        // quit() ends every running loop, the dialog's included.
        QCOMPARE(result, int(QDialog::Rejected));
        // It ran until the signal came, and ended because of it.
        QVERIFY(clock.elapsed() >= 40);
        QVERIFY(clock.elapsed() < 15000);
        QCOMPARE(aboutToQuit.count(), 0);
        // quit() outside the application's own exec() leaves every later
        // loop ending at once until exec() runs again: reset that here.
        QTimer::singleShot(0, qApp, &QCoreApplication::quit);
        QCoreApplication::exec();
    }
};

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsSet(kProbeVariable))
        return probeArguments(argc, argv);
    QApplication application(argc, argv);
    MainTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "MainTest.moc"
