// The check pass and daemon mode in process. The device library's
// enumeration and notification calls are wrapped at link time, so a test
// decides which cards exist and sees every call the pass makes, in order,
// together with the dialogs it shows.
#include <QtTest>

#include <deque>

#include "CheckPass.h"
#include "Main.h"
#include "ManagerTestSupport.h"
#include "Quorvale.h"
#include "SimulatedUpdaterFixture.h"

using namespace ManagerTest;

namespace {

// What the pass did, device calls and dialogs alike.
QStringList g_calls;
std::deque<FakeCard> g_cards;
bool g_iteratorFails = false;
bool g_installFails = false;
QuorvaleNotificationCallback g_callback = nullptr;
void* g_context = nullptr;
char g_iterator;
char g_handle;

QString cardName(QuorvaleInstanceRec* instance)
{
    return QStringLiteral("dv%1").arg(instance->unitNumber);
}

}  // namespace

extern "C" {
void __real_CloseDriverConnectionCore(QuorvaleInstanceRec* instance);

QuorvaleIteratorRec* __wrap_CreateQuorvaleIterator()
{
    g_calls << QStringLiteral("create iterator");
    return g_iteratorFails ? nullptr : reinterpret_cast<QuorvaleIteratorRec*>(&g_iterator);
}

bool __wrap_ConnectToDriverCore(QuorvaleInstanceRec** out, QuorvaleIteratorRec* iterator)
{
    *out = nullptr;
    if (iterator != reinterpret_cast<QuorvaleIteratorRec*>(&g_iterator) || g_cards.empty())
        return false;
    *out = g_cards.front().record;
    g_cards.pop_front();
    g_calls << QStringLiteral("connect ") + cardName(*out);
    return true;
}

void __wrap_CloseDriverConnectionCore(QuorvaleInstanceRec* instance)
{
    g_calls << QStringLiteral("close ") + cardName(instance);
    __real_CloseDriverConnectionCore(instance);
}

void __wrap_ReleaseQuorvaleIterator(QuorvaleIteratorRec* iterator)
{
    QVERIFY(iterator == reinterpret_cast<QuorvaleIteratorRec*>(&g_iterator));
    g_calls << QStringLiteral("release iterator");
}

QuorvaleNotificationHandle* __wrap_InstallQuorvaleNotificationCallback(QuorvaleNotificationCallback callback,
                                                                       void* context)
{
    g_calls << QStringLiteral("install callback");
    g_callback = callback;
    g_context = context;
    return g_installFails ? nullptr : reinterpret_cast<QuorvaleNotificationHandle*>(&g_handle);
}

void __wrap_RemoveQuorvaleNotificationCallback(QuorvaleNotificationHandle* handle)
{
    g_calls << (handle == reinterpret_cast<QuorvaleNotificationHandle*>(&g_handle)
                    ? QStringLiteral("remove callback")
                    : QStringLiteral("remove unknown handle"));
}
}

class CheckPassTest : public QObject {
    Q_OBJECT

    std::unique_ptr<SimulatedUpdaterFixture> updater;
    std::unique_ptr<UpdateManager> manager;
    std::unique_ptr<ScriptedUser> user;

    void cards(std::initializer_list<unsigned> units)
    {
        for (unsigned unit : units)
            g_cards.push_back(openCard(unit));
    }

    static QString status(unsigned unit, bool required)
    {
        return QStringLiteral("status /dev/vantorix/dv%1 out %2:/dev/vantorix/dv%1:1f:Card %1\\n")
            .arg(unit)
            .arg(required ? 1 : 0);
    }

    static QStringList update(unsigned unit, int exitCode)
    {
        return {QStringLiteral("update /dev/vantorix/dv%1 out 50\\n").arg(unit),
                QStringLiteral("update /dev/vantorix/dv%1 sleep 200").arg(unit),
                QStringLiteral("update /dev/vantorix/dv%1 exit %2").arg(unit).arg(exitCode)};
    }

private slots:
    void init()
    {
        g_calls.clear();
        g_iteratorFails = g_installFails = false;
        g_callback = nullptr;
        g_context = nullptr;
        updater.reset(new SimulatedUpdaterFixture);
        qputenv("VANTORIX_FIRMWARE_UPDATER_PATH", SimulatedUpdaterFixture::program().toLocal8Bit());
        manager.reset(new UpdateManager);
        user.reset(new ScriptedUser);
        user->onShown = [](const QString& event) { g_calls << event; };
    }

    void cleanup()
    {
        for (FakeCard& card : g_cards)
            __real_CloseDriverConnectionCore(card.record);
        g_cards.clear();
        user.reset();
        manager.reset();
        updater.reset();
        qunsetenv("VANTORIX_FIRMWARE_UPDATER_PATH");
    }

    void iteratorFailureEndsWithOneAndNothingShown()
    {
        g_iteratorFails = true;
        QCOMPARE(CheckPass::runNormalMode(*manager, false), 1);
        QCOMPARE(g_calls, QStringList{QStringLiteral("create iterator")});
    }

    void noCardShowsUpToDate_data()
    {
        QTest::addColumn<bool>("quiet");
        QTest::addColumn<QStringList>("expected");
        const QStringList pass{QStringLiteral("create iterator"), QStringLiteral("release iterator")};
        QTest::newRow("not quiet") << false << pass + QStringList{QStringLiteral("message uptodate")};
        QTest::newRow("quiet") << true << pass;
    }

    void noCardShowsUpToDate()
    {
        QFETCH(bool, quiet);
        QFETCH(QStringList, expected);
        QCOMPARE(CheckPass::runNormalMode(*manager, quiet), 0);
        QCOMPARE(g_calls, expected);
    }

    void cardsUpToDateAreClosedWithoutPrompt()
    {
        updater->setScenario({status(0, false), status(1, false)});
        cards({0, 1});
        QCOMPARE(CheckPass::runNormalMode(*manager, false), 0);
        QCOMPARE(g_calls, (QStringList{"create iterator", "connect dv0", "close dv0", "connect dv1", "close dv1",
                                       "release iterator", "message uptodate"}));
    }

    void unreadablePathIsSkippedAndClosed()
    {
        updater->setScenario({status(1, true)});
        g_cards.push_back(openCard(0, "NoSuchDriver"));
        cards({1});
        QCOMPARE(CheckPass::runNormalMode(*manager, false), 0);
        QCOMPARE(g_calls, (QStringList{"create iterator", "connect dv0", "close dv0", "connect dv1",
                                       "prompt Card 1\n", "close dv1", "release iterator"}));
        QCOMPARE(updater->runs().size(), 1);
    }

    void declinedEverywhereShowsNothing_data()
    {
        QTest::addColumn<int>("answer");
        QTest::newRow("Don't Update") << int(Answer::DontUpdate);
        QTest::newRow("Don't Update with Control") << int(Answer::IgnoreVersion);
    }

    void declinedEverywhereShowsNothing()
    {
        QFETCH(int, answer);
        updater->setScenario({status(0, true), QStringLiteral("ignore-version * exit 0")});
        cards({0});
        user->answers << Answer(answer);
        QCOMPARE(CheckPass::runNormalMode(*manager, false), 0);
        QCOMPARE(g_calls, (QStringList{"create iterator", "connect dv0", "prompt Card 0\n", "close dv0",
                                       "release iterator"}));
    }

    void updateShowsPowerCycleEvenWhenQuiet_data()
    {
        QTest::addColumn<bool>("quiet");
        QTest::newRow("not quiet") << false;
        QTest::newRow("quiet") << true;
    }

    void updateShowsPowerCycleEvenWhenQuiet()
    {
        QFETCH(bool, quiet);
        updater->setScenario(QStringList{status(0, true), status(1, false)} + update(0, 0));
        cards({0, 1});
        user->answers << Answer::UpdateNow;
        QCOMPARE(CheckPass::runNormalMode(*manager, quiet), 0);
        QCOMPARE(g_calls, (QStringList{"create iterator", "connect dv0", "prompt Card 0\n", "progress", "close dv0",
                                       "connect dv1", "close dv1", "release iterator", "message powercycle"}));
    }

    void failureStopsThePassAndLeavesTheCardOpen()
    {
        updater->setScenario(QStringList{status(0, true), status(1, true), status(2, true)} + update(0, 0)
                             + update(1, 1));
        cards({0, 1, 2});
        const FakeCard abandoned = g_cards.at(1);
        user->answers << Answer::UpdateNow << Answer::UpdateNow;
        QCOMPARE(CheckPass::runNormalMode(*manager, false), 0);
        // Error first, then the release, then the power cycle for dv0; dv1
        // stays connected and dv2 is never visited.
        QCOMPARE(g_calls, (QStringList{"create iterator", "connect dv0", "prompt Card 0\n", "progress", "close dv0",
                                       "connect dv1", "prompt Card 1\n", "progress", "message error",
                                       "release iterator", "message powercycle"}));
        QVERIFY(isOpen(abandoned.fd));
        __real_CloseDriverConnectionCore(abandoned.record);
    }

    void failureOfTheFirstUpdateShowsOnlyTheError()
    {
        updater->setScenario(QStringList{status(0, true)} + update(0, 1));
        cards({0});
        const FakeCard abandoned = g_cards.front();
        user->answers << Answer::UpdateNow;
        QCOMPARE(CheckPass::runNormalMode(*manager, false), 0);
        QCOMPARE(g_calls, (QStringList{"create iterator", "connect dv0", "prompt Card 0\n", "progress",
                                       "message error", "release iterator"}));
        QVERIFY(isOpen(abandoned.fd));
        __real_CloseDriverConnectionCore(abandoned.record);
    }

    void daemonInstallFailureEndsWithOne()
    {
        g_installFails = true;
        QuorvaleNotificationHandle* handle = nullptr;
        QCOMPARE(CheckPass::runDaemonMode(*qApp, *manager, handle), 1);
        QVERIFY(handle == nullptr);
        QCOMPARE(g_calls, QStringList{QStringLiteral("install callback")});
    }

    void daemonReturnsTheLoopsResult()
    {
        QuorvaleNotificationHandle* handle = nullptr;
        QTimer::singleShot(50, [] {
            g_calls << QStringLiteral("loop running");
            QCoreApplication::exit(5);
        });
        QCOMPARE(CheckPass::runDaemonMode(*qApp, *manager, handle), 5);
        QVERIFY(handle == reinterpret_cast<QuorvaleNotificationHandle*>(&g_handle));
        QVERIFY(g_callback == &UpdateManager::DeviceArrived);
        QVERIFY(g_context == manager.get());
        QCOMPARE(g_calls, (QStringList{"install callback", "loop running", "remove callback"}));
    }

    void daemonModeThroughMainStoresTheHandle()
    {
        qputenv("VANTORIX_FIRMWARE_UPDATER_PATH", SimulatedUpdaterFixture::program().toLocal8Bit());
        Main program(*qApp);
        program.daemon = program.quiet = true;
        QTimer::singleShot(50, [] { QCoreApplication::exit(0); });
        QCOMPARE(program.run(), 0);
        QVERIFY(program.notificationHandle == reinterpret_cast<QuorvaleNotificationHandle*>(&g_handle));
        QVERIFY(g_context == &program.updateManager);
        QCOMPARE(g_calls, (QStringList{"install callback", "remove callback"}));
    }
};

QTEST_MAIN(CheckPassTest)
#include "CheckPassTest.moc"
