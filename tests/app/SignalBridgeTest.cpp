// The POSIX signal bridge in process: real signals, the real pipe.
#include <QMetaMethod>
#include <QSignalSpy>
#include <QSocketNotifier>
#include <QtTest>

#include <functional>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/syscall.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

#include "SignalManager.h"
#include "SignalNotifier.h"

#ifndef SA_RESTORER
#define SA_RESTORER 0x04000000  // added by the C library itself, not by us
#endif

namespace {

int bytesWaiting()
{
    int count = -1;
    ioctl(SignalManager::s_pipes[0], FIONREAD, &count);
    return count;
}

}  // namespace

// Runs a check on each activation of the socket notifier.
class ActivationProbe : public QObject {
    Q_OBJECT
    std::function<void()> check;

public:
    explicit ActivationProbe(std::function<void()> f) : check(std::move(f)) {}

public slots:
    void activated(int) { check(); }
};

class SignalBridgeTest : public QObject {
    Q_OBJECT

    // The manager keeps every notifier ever made, so they live as long as
    // the process, like the program's own three.
    QObject owner;
    SignalNotifier* terminate = nullptr;
    SignalNotifier* interrupt = nullptr;
    SignalNotifier* hangup = nullptr;
    QList<QSignalSpy*> spies;

    QList<int> raisedCounts() const
    {
        QList<int> counts;
        for (QSignalSpy* spy : spies)
            counts << spy->count();
        return counts;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(SignalNotifier::s_manager == nullptr);
        terminate = new SignalNotifier(SIGTERM, &owner);
        SignalManager* first = SignalNotifier::s_manager;
        interrupt = new SignalNotifier(SIGINT, &owner);
        hangup = new SignalNotifier(SIGHUP, &owner);
        QVERIFY(first != nullptr);
        QCOMPARE(SignalNotifier::s_manager, first);
        for (SignalNotifier* notifier : {terminate, interrupt, hangup})
            spies << new QSignalSpy(notifier, SIGNAL(raised()));
    }

    void cleanupTestCase() { qDeleteAll(spies); }

    void init()
    {
        QCoreApplication::processEvents();
        QCOMPARE(bytesWaiting(), 0);
        for (QSignalSpy* spy : spies)
            spy->clear();
    }

    void managerMetaObjectDeclaresOneSlotAndNoSignal()
    {
        const QMetaObject& meta = SignalManager::staticMetaObject;
        QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
        const QMetaMethod slot = meta.method(meta.methodOffset());
        QCOMPARE(slot.methodSignature(), QByteArray("handler(int)"));
        QCOMPARE(slot.methodType(), QMetaMethod::Slot);
    }

    void notifierMetaObjectDeclaresOneSignalAndNoSlot()
    {
        const QMetaObject& meta = SignalNotifier::staticMetaObject;
        QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
        const QMetaMethod signal = meta.method(meta.methodOffset());
        QCOMPARE(signal.methodSignature(), QByteArray("raised()"));
        QCOMPARE(signal.methodType(), QMetaMethod::Signal);
    }

    void oneManagerKeepsNotifiersInConstructionOrder()
    {
        const QList<SignalNotifier*> expected{terminate, interrupt, hangup};
        QCOMPARE(SignalNotifier::s_manager->notifiers, expected);
        QCOMPARE(terminate->signalNumber, 15);
        QCOMPARE(interrupt->signalNumber, 2);
        QCOMPARE(hangup->signalNumber, 1);
        QCOMPARE(terminate->parent(), &owner);
        QVERIFY(SignalNotifier::s_manager->parent() == nullptr);
    }

    void pipeKeepsDefaultBlockingInheritableFlags()
    {
        for (int fd : SignalManager::s_pipes) {
            QVERIFY(fd >= 0);
            QCOMPARE(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
            QCOMPARE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
        }
        QSocketNotifier* watcher = SignalNotifier::s_manager->socketNotifier;
        QCOMPARE(int(watcher->socket()), SignalManager::s_pipes[0]);
        QCOMPARE(watcher->type(), QSocketNotifier::Read);
        QCOMPARE(watcher->parent(), SignalNotifier::s_manager);
    }

    void handlerIsInstalledWithoutRestartOrMask()
    {
        for (int sig : {SIGTERM, SIGINT, SIGHUP}) {
            struct sigaction current;
            QCOMPARE(sigaction(sig, nullptr, &current), 0);
            QVERIFY(current.sa_handler == SignalManager::Handle);
            QCOMPARE(current.sa_flags & SA_RESTART, 0);
            QCOMPARE(current.sa_flags & ~SA_RESTORER, 0);
            for (int other = 1; other < 32; ++other)
                QCOMPARE(sigismember(&current.sa_mask, other), 0);
        }
    }

    void interruptedBlockingCallFailsWithEintr()
    {
        // Without SA_RESTART a blocking read interrupted by SIGHUP returns.
        int quietPipe[2];
        QCOMPARE(pipe(quietPipe), 0);
        const pthread_t self = pthread_self();
        const std::string syscallFile = "/proc/self/task/" + std::to_string(syscall(SYS_gettid)) + "/syscall";
        std::thread sender([self, syscallFile] {
            // Signal only once this thread sits in read(): a signal that came
            // earlier would leave the read blocked for good.
            for (int waited = 0; waited < 10000; waited += 5) {
                std::ifstream current(syscallFile);
                long number = -1;
                if ((current >> number) && number == SYS_read)
                    break;
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
            pthread_kill(self, SIGHUP);
        });
        char byte;
        errno = 0;
        const ssize_t got = read(quietPipe[0], &byte, 1);
        const int error = errno;
        sender.join();
        close(quietPipe[0]);
        close(quietPipe[1]);
        QCOMPARE(got, ssize_t(-1));
        QCOMPARE(error, EINTR);
        QCOMPARE(bytesWaiting(), 4);
        QTRY_COMPARE(raisedCounts(), (QList<int>{1, 1, 1}));
    }

    void signalWritesItsNumberAsFourBytes()
    {
        kill(getpid(), SIGINT);
        QCOMPARE(bytesWaiting(), 4);
        int number = 0;
        QCOMPARE(read(SignalManager::s_pipes[0], &number, 4), ssize_t(4));
        QCOMPARE(number, SIGINT);
        QCoreApplication::processEvents();
        QCOMPARE(raisedCounts(), (QList<int>{0, 0, 0}));
    }

    void hangupRaisesAllThreeAndQuitsOnce()
    {
        QSignalSpy aboutToQuit(QCoreApplication::instance(), SIGNAL(aboutToQuit()));
        for (SignalNotifier* notifier : {terminate, interrupt, hangup})
            connect(notifier, SIGNAL(raised()), QCoreApplication::instance(), SLOT(quit()));
        QTimer::singleShot(0, [] { kill(getpid(), SIGHUP); });
        QTimer::singleShot(20000, [] { QCoreApplication::exit(99); });
        const int result = QCoreApplication::exec();
        for (SignalNotifier* notifier : {terminate, interrupt, hangup})
            disconnect(notifier, SIGNAL(raised()), QCoreApplication::instance(), SLOT(quit()));
        QCOMPARE(result, 0);
        QCOMPARE(raisedCounts(), (QList<int>{1, 1, 1}));
        QCOMPARE(aboutToQuit.count(), 1);
    }

    void everyNotifierRaisedForAnySignal_data()
    {
        QTest::addColumn<int>("sig");
        QTest::newRow("SIGTERM") << int(SIGTERM);
        QTest::newRow("SIGINT") << int(SIGINT);
        QTest::newRow("SIGHUP") << int(SIGHUP);
    }

    void everyNotifierRaisedForAnySignal()
    {
        QFETCH(int, sig);
        kill(getpid(), sig);
        QTRY_COMPARE(raisedCounts(), (QList<int>{1, 1, 1}));
    }

    void twoSignalsGiveTwoActivations()
    {
        QSocketNotifier* watcher = SignalNotifier::s_manager->socketNotifier;
        QList<QList<int>> seenPerActivation;
        // Connected after the manager's own slot, so it sees the result.
        ActivationProbe probe([&] { seenPerActivation << raisedCounts(); });
        connect(watcher, SIGNAL(activated(int)), &probe, SLOT(activated(int)));
        kill(getpid(), SIGTERM);
        kill(getpid(), SIGHUP);
        QCOMPARE(bytesWaiting(), 8);
        QTRY_COMPARE(seenPerActivation.size(), 2);
        QTest::qWait(100);
        disconnect(watcher, SIGNAL(activated(int)), &probe, SLOT(activated(int)));
        QCOMPARE(seenPerActivation,
                 (QList<QList<int>>{QList<int>{1, 1, 1}, QList<int>{2, 2, 2}}));
        QCOMPARE(bytesWaiting(), 0);
    }

    void shortReadCountsAsOneSignal_data()
    {
        QTest::addColumn<int>("length");
        QTest::newRow("1 byte") << 1;
        QTest::newRow("2 bytes") << 2;
        QTest::newRow("3 bytes") << 3;
    }

    void shortReadCountsAsOneSignal()
    {
        QFETCH(int, length);
        const char bytes[3] = {7, 7, 7};
        QCOMPARE(write(SignalManager::s_pipes[1], bytes, size_t(length)), ssize_t(length));
        QTRY_COMPARE(raisedCounts(), (QList<int>{1, 1, 1}));
        QTest::qWait(100);
        QCOMPARE(raisedCounts(), (QList<int>{1, 1, 1}));
        QCOMPARE(bytesWaiting(), 0);
    }

    void notifierIsDisabledWhileRaising()
    {
        QSocketNotifier* watcher = SignalNotifier::s_manager->socketNotifier;
        QList<bool> enabledDuringRaise;
        QMetaObject::Connection probe = connect(hangup, &SignalNotifier::raised, this,
                                                [&] { enabledDuringRaise << watcher->isEnabled(); });
        kill(getpid(), SIGHUP);
        QTRY_COMPARE(enabledDuringRaise.size(), 1);
        disconnect(probe);
        QCOMPARE(enabledDuringRaise.first(), false);
        QVERIFY(watcher->isEnabled());
    }

    void failedReadRaisesNothingAndReenables_data()
    {
        QTest::addColumn<bool>("endOfFile");
        QTest::newRow("end of file") << true;
        QTest::newRow("read error") << false;
    }

    void failedReadRaisesNothingAndReenables()
    {
        QFETCH(bool, endOfFile);
        int closedPipe[2];
        QCOMPARE(pipe(closedPipe), 0);
        close(closedPipe[1]);
        const int fd = endOfFile ? closedPipe[0] : -1;
        SignalNotifier::s_manager->handler(fd);
        close(closedPipe[0]);
        QCOMPARE(raisedCounts(), (QList<int>{0, 0, 0}));
        QVERIFY(SignalNotifier::s_manager->socketNotifier->isEnabled());
    }

    void raiseEmitsWhateverTheArgument()
    {
        QSignalSpy spy(interrupt, SIGNAL(raised()));
        interrupt->raise(0);
        interrupt->raise(12345);
        QCOMPARE(spy.count(), 2);
        QCOMPARE(raisedCounts(), (QList<int>{0, 2, 0}));
    }

    void destroyedNotifierStaysRegistered()
    {
        // Destroying one does only the QObject clean-up: its entry and its
        // disposition stay (the program never raises after that point).
        const int before = SignalNotifier::s_manager->notifiers.size();
        struct sigaction previous;
        sigaction(SIGUSR1, nullptr, &previous);
        auto* extra = new SignalNotifier(SIGUSR1, nullptr);
        QCOMPARE(SignalNotifier::s_manager->notifiers.size(), before + 1);
        delete extra;
        QCOMPARE(SignalNotifier::s_manager->notifiers.size(), before + 1);
        struct sigaction after;
        sigaction(SIGUSR1, nullptr, &after);
        QVERIFY(after.sa_handler == SignalManager::Handle);
        // Keep the manager usable for any test run after this one.
        SignalNotifier::s_manager->notifiers.removeLast();
        sigaction(SIGUSR1, &previous, nullptr);
    }
};

QTEST_GUILESS_MAIN(SignalBridgeTest)
#include "SignalBridgeTest.moc"
