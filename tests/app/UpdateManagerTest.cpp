// The update manager in process: the real updater client against the
// simulated updater, the real dialogs (offscreen), arrivals handed over from
// a thread of their own as the discovery listener does.
#include <QMetaMethod>
#include <QProgressBar>
#include <QSignalSpy>
#include <QtTest>

#include <atomic>
#include <memory>

#include "ManagerTestSupport.h"
#include "Quorvale.h"
#include "SimulatedUpdaterFixture.h"
#include "UpdateManager.h"

using namespace ManagerTest;

namespace {

QString statusLine(unsigned unit, const QString& answer)
{
    return QStringLiteral("status /dev/vantorix/dv%1 out %2\\n").arg(unit).arg(answer);
}

// Card dv<unit> needs an update; the updater calls it `devicePath`.
QString needsUpdate(unsigned unit, const QString& name, const QString& flags = QStringLiteral("1f"),
                    const QString& devicePath = QString())
{
    const QString path = devicePath.isEmpty() ? QStringLiteral("/dev/vantorix/dv%1").arg(unit) : devicePath;
    return statusLine(unit, QStringLiteral("1:%1:%2:%3").arg(path, flags, name));
}

QStringList updateSucceeds(const QString& target = QStringLiteral("*"))
{
    return {QStringLiteral("update %1 out 50\\n").arg(target),
            QStringLiteral("update %1 sleep 150").arg(target),
            QStringLiteral("update %1 out 100\\n").arg(target),
            QStringLiteral("update %1 exit 0").arg(target)};
}

QStringList updateFails(const QString& target)
{
    return {QStringLiteral("update %1 out 10\\n").arg(target),
            QStringLiteral("update %1 sleep 100").arg(target),
            QStringLiteral("update %1 exit 1").arg(target)};
}

QStringList runsOf(const SimulatedUpdaterFixture& updater, const QString& command)
{
    QStringList lines;
    for (const QStringList& run : updater.runs())
        if (run.value(1) == command)
            lines << run.join(QLatin1Char(' '));
    return lines;
}

}  // namespace

class UpdateManagerTest : public QObject {
    Q_OBJECT

    std::unique_ptr<SimulatedUpdaterFixture> updater;
    std::unique_ptr<UpdateManager> manager;
    std::unique_ptr<ScriptedUser> user;

    // Delivers the queued runUpdate() and so runs a whole drain.
    static void deliver()
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
        QCoreApplication::processEvents();
    }

private slots:
    void init()
    {
        updater.reset(new SimulatedUpdaterFixture);
        QVERIFY(updater->isValid());
        qputenv("VANTORIX_FIRMWARE_UPDATER_PATH", SimulatedUpdaterFixture::program().toLocal8Bit());
        manager.reset(new UpdateManager);
        user.reset(new ScriptedUser);
    }

    void cleanup()
    {
        user.reset();
        manager.reset();
        updater.reset();
        qunsetenv("VANTORIX_FIRMWARE_UPDATER_PATH");
    }

    void signalAndSlotHaveFixedIndices()
    {
        const QMetaObject& meta = UpdateManager::staticMetaObject;
        QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
        const QMetaMethod signal = meta.method(meta.methodOffset() + 0);
        const QMetaMethod slot = meta.method(meta.methodOffset() + 1);
        QCOMPARE(signal.methodSignature(), QByteArray("runUpdate()"));
        QCOMPARE(signal.methodType(), QMetaMethod::Signal);
        QCOMPARE(slot.methodSignature(), QByteArray("runUpdateSlot()"));
        QCOMPARE(slot.methodType(), QMetaMethod::Slot);
    }

    void startsIdleWithAPlainMutex()
    {
        QVERIFY(!manager->updateRunning);
        QVERIFY(manager->deviceQueue.isEmpty());
        QVERIFY(!manager->queueMutex.isRecursive());
        QVERIFY(manager->parent() == nullptr);
    }

    void updaterPathFromEnvironment_data()
    {
        QTest::addColumn<bool>("set");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<QString>("expected");
        const QString fallback = QStringLiteral("/usr/bin/VantorixFirmwareUpdater");
        QTest::newRow("unset") << false << QByteArray() << fallback;
        QTest::newRow("empty") << true << QByteArray("") << fallback;
        QTest::newRow("set") << true << QByteArray("/opt/x/updater") << QStringLiteral("/opt/x/updater");
        QTest::newRow("missing file kept") << true << QByteArray("/nonexistent/u")
                                           << QStringLiteral("/nonexistent/u");
    }

    void updaterPathFromEnvironment()
    {
        QFETCH(bool, set);
        QFETCH(QByteArray, value);
        QFETCH(QString, expected);
        if (set)
            QVERIFY(setenv("VANTORIX_FIRMWARE_UPDATER_PATH", value.constData(), 1) == 0);
        else
            qunsetenv("VANTORIX_FIRMWARE_UPDATER_PATH");
        QCOMPARE(UpdateManager::GetUpdaterPath(), expected);
    }

    void constructorTakesTheUpdaterFromTheEnvironment()
    {
        // init() built the manager with the simulated updater named there.
        updater->setScenario({statusLine(4, QStringLiteral("0:/dev/vantorix/dv4:00:Idle"))});
        FakeCard card = openCard(4);
        Device device;
        QVERIFY(!manager->checkForUpdate(card.record, device));
        CloseDriverConnectionCore(card.record);
        QCOMPARE(runsOf(*updater, QStringLiteral("status")),
                 QStringList{QStringLiteral("-gui status /dev/vantorix/dv4")});
    }

    void checkForUpdateFillsTheRecord()
    {
        updater->setScenario({needsUpdate(3, QStringLiteral("Card Three"), QStringLiteral("2a"),
                                          QStringLiteral("PCI-3"))});
        FakeCard card = openCard(3);
        Device device;
        QVERIFY(manager->checkForUpdate(card.record, device));
        QVERIFY(device.updateRequired);
        QCOMPARE(device.devicePath, QStringLiteral("PCI-3"));
        QCOMPARE(int(device.statusFlags), 0x2a);
        QCOMPARE(device.name, QStringLiteral("Card Three\n"));
        // The caller owns the card and closes it.
        QVERIFY(isOpen(card.fd));
        CloseDriverConnectionCore(card.record);
    }

    void checkForUpdateFalseWhenNotRequired()
    {
        updater->setScenario({statusLine(1, QStringLiteral("0:/dev/vantorix/dv1:00:Card One"))});
        FakeCard card = openCard(1);
        Device device;
        QVERIFY(!manager->checkForUpdate(card.record, device));
        QCOMPARE(device.name, QStringLiteral("Card One\n"));
        CloseDriverConnectionCore(card.record);
    }

    void checkForUpdateSkipsUnreadablePath()
    {
        updater->setScenario({QStringLiteral("status * out 1:X:1f:Anything\\n")});
        FakeCard card = openCard(0, "NoSuchDriver");
        Device device;
        device.name = QStringLiteral("untouched");
        device.statusFlags = 7;
        QVERIFY(!manager->checkForUpdate(card.record, device));
        QCOMPARE(device.name, QStringLiteral("untouched"));
        QCOMPARE(int(device.statusFlags), 7);
        QVERIFY(!device.updateRequired);
        QVERIFY(updater->runs().isEmpty());
        CloseDriverConnectionCore(card.record);
    }

    void updateNowSucceeds()
    {
        updater->setScenario(updateSucceeds());
        Device device;
        device.name = QStringLiteral("Card A");
        device.devicePath = QStringLiteral("PCI-A");
        user->answers << Answer::UpdateNow;
        QCOMPARE(manager->update(device), 1);
        QCOMPARE(user->seen, (QStringList{QStringLiteral("prompt Card A"), QStringLiteral("progress")}));
        QCOMPARE(runsOf(*updater, QStringLiteral("update")), QStringList{QStringLiteral("-gui update PCI-A")});
    }

    // What the updater reports reaches the dialog's bar while it runs.
    void progressReachesTheBar()
    {
        updater->setScenario({QStringLiteral("update * sleep 200"), QStringLiteral("update * out 42\\n"),
                              QStringLiteral("update * sleep 300"), QStringLiteral("update * exit 0")});
        Device device;
        device.name = QStringLiteral("Card A");
        device.devicePath = QStringLiteral("PCI-A");
        user->answers << Answer::UpdateNow;
        QList<int> shown;
        user->onShown = [&shown](const QString& event) {
            if (event != QLatin1String("progress"))
                return;
            auto* bar = QApplication::activeModalWidget()->findChild<QProgressBar*>();
            QVERIFY(bar != nullptr);
            QObject::connect(bar, &QProgressBar::valueChanged, [&shown](int value) { shown << value; });
        };
        QCOMPARE(manager->update(device), 1);
        QCOMPARE(shown, QList<int>{42});
    }

    void updateNowFails()
    {
        updater->setScenario(updateFails(QStringLiteral("PCI-A")));
        Device device;
        device.name = QStringLiteral("Card A");
        device.devicePath = QStringLiteral("PCI-A");
        user->answers << Answer::UpdateNow;
        QCOMPARE(manager->update(device), -1);
        QCOMPARE(user->seen, (QStringList{QStringLiteral("prompt Card A"), QStringLiteral("progress")}));
    }

    void dontUpdateDoesNothing()
    {
        updater->setScenario(updateSucceeds());
        Device device;
        device.name = QStringLiteral("Card A");
        device.devicePath = QStringLiteral("PCI-A");
        user->answers << Answer::DontUpdate;
        QCOMPARE(manager->update(device), 0);
        QCOMPARE(user->seen, QStringList{QStringLiteral("prompt Card A")});
        QVERIFY(updater->runs().isEmpty());
    }

    void controlDeclineTellsTheUpdaterToIgnore()
    {
        updater->setScenario({QStringLiteral("ignore-version * exit 0")});
        Device device;
        device.name = QStringLiteral("Card A");
        device.devicePath = QStringLiteral("PCI-A");
        user->answers << Answer::IgnoreVersion;
        QCOMPARE(manager->update(device), 0);
        QCOMPARE(user->seen, QStringList{QStringLiteral("prompt Card A")});
        QCOMPARE(updater->runs(), (QList<QStringList>{{QStringLiteral("-gui"), QStringLiteral("ignore-version"),
                                                        QStringLiteral("PCI-A")}}));
    }

    void sameCardTwiceIsQueuedOnce()
    {
        updater->setScenario({needsUpdate(0, QStringLiteral("Card A"))});
        QSignalSpy runUpdate(manager.get(), SIGNAL(runUpdate()));
        for (int i = 0; i < 2; ++i) {
            FakeCard card = openCard(0);
            arrive(*manager, card.record);
            QVERIFY(!isOpen(card.fd));
        }
        QCOMPARE(manager->deviceQueue.size(), 1);
        QCOMPARE(runUpdate.count(), 1);
        QCOMPARE(runsOf(*updater, QStringLiteral("status")).size(), 2);
        deliver();
        QCOMPARE(user->seen, QStringList{QStringLiteral("prompt Card A\n")});
        QVERIFY(manager->deviceQueue.isEmpty());
        QVERIFY(!manager->updateRunning);
    }

    void samePathWithOtherStatusByteIsQueuedTwice()
    {
        QSignalSpy runUpdate(manager.get(), SIGNAL(runUpdate()));
        updater->setScenario({needsUpdate(0, QStringLiteral("Card A"), QStringLiteral("1f"))});
        FakeCard first = openCard(0);
        arrive(*manager, first.record);
        updater->setScenario({needsUpdate(0, QStringLiteral("Card A"), QStringLiteral("20"))});
        FakeCard second = openCard(0);
        arrive(*manager, second.record);
        QCOMPARE(manager->deviceQueue.size(), 2);
        QCOMPARE(int(manager->deviceQueue.at(0).statusFlags), 0x1f);
        QCOMPARE(int(manager->deviceQueue.at(1).statusFlags), 0x20);
        QCOMPARE(runUpdate.count(), 2);
        deliver();
        QCOMPARE(user->seen, (QStringList{QStringLiteral("prompt Card A\n"), QStringLiteral("prompt Card A\n")}));
    }

    void nameIsNotPartOfTheDuplicateRule()
    {
        updater->setScenario({needsUpdate(0, QStringLiteral("Card A"))});
        FakeCard first = openCard(0);
        arrive(*manager, first.record);
        updater->setScenario({needsUpdate(0, QStringLiteral("Renamed"))});
        FakeCard second = openCard(0);
        arrive(*manager, second.record);
        QCOMPARE(manager->deviceQueue.size(), 1);
        QCOMPARE(manager->deviceQueue.first().name, QStringLiteral("Card A\n"));
    }

    void duplicateIsFoundBehindNewerEntries()
    {
        updater->setScenario({needsUpdate(0, QStringLiteral("Card A")), needsUpdate(1, QStringLiteral("Card B"))});
        for (unsigned unit : {0u, 1u, 0u}) {
            FakeCard card = openCard(unit);
            arrive(*manager, card.record);
        }
        QCOMPARE(manager->deviceQueue.size(), 2);
        QCOMPARE(manager->deviceQueue.at(0).name, QStringLiteral("Card A\n"));
        QCOMPARE(manager->deviceQueue.at(1).name, QStringLiteral("Card B\n"));
    }

    void arrivalsThatNeedNothingAreDroppedAndClosed_data()
    {
        QTest::addColumn<QString>("driver");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<int>("statusRuns");
        QTest::newRow("up to date") << "Quorvale" << "0:/dev/vantorix/dv5:1f:Card" << 1;
        QTest::newRow("updater fails") << "Quorvale" << "" << 1;
        QTest::newRow("path unreadable") << "NoSuchDriver" << "1:/dev/vantorix/dv5:1f:Card" << 0;
    }

    void arrivalsThatNeedNothingAreDroppedAndClosed()
    {
        QFETCH(QString, driver);
        QFETCH(QString, answer);
        QFETCH(int, statusRuns);
        const QByteArray driverName = driver.toLatin1();
        updater->setScenario(answer.isEmpty() ? QStringList{QStringLiteral("status * exit 3")}
                                              : QStringList{statusLine(5, answer)});
        QSignalSpy runUpdate(manager.get(), SIGNAL(runUpdate()));
        FakeCard card = openCard(5, driverName.constData());
        arrive(*manager, card.record);
        QVERIFY(!isOpen(card.fd));
        QVERIFY(manager->deviceQueue.isEmpty());
        QCOMPARE(runUpdate.count(), 0);
        QCOMPARE(runsOf(*updater, QStringLiteral("status")).size(), statusRuns);
        deliver();
        QVERIFY(user->seen.isEmpty());
    }

    void drainRunsOnTheGuiThreadOldestFirst()
    {
        updater->setScenario({needsUpdate(0, QStringLiteral("Card A")), needsUpdate(1, QStringLiteral("Card B"))});
        FakeCard a = openCard(0);
        FakeCard b = openCard(1);
        arrive(*manager, a.record);
        arrive(*manager, b.record);
        deliver();
        QCOMPARE(user->seen, (QStringList{QStringLiteral("prompt Card A\n"), QStringLiteral("prompt Card B\n")}));
        for (Qt::HANDLE thread : user->threads)
            QCOMPARE(thread, QThread::currentThreadId());
        // Both declined: no closing message.
        QVERIFY(!manager->updateRunning);
    }

    void arrivalDuringUpdateIsPromptedInTheSameDrain()
    {
        updater->setScenario(QStringList{needsUpdate(0, QStringLiteral("Card A")),
                                         needsUpdate(1, QStringLiteral("Card B"))}
                             + updateSucceeds());
        user->answers << Answer::UpdateNow << Answer::UpdateNow;
        bool arrivedDuringUpdate = false;
        user->onShown = [&](const QString& event) {
            if (event == QLatin1String("progress") && !arrivedDuringUpdate) {
                arrivedDuringUpdate = true;
                FakeCard b = openCard(1);
                arrive(*manager, b.record);
            }
        };
        FakeCard a = openCard(0);
        arrive(*manager, a.record);
        deliver();
        QVERIFY(arrivedDuringUpdate);
        QCOMPARE(user->seen, (QStringList{QStringLiteral("prompt Card A\n"), QStringLiteral("progress"),
                                          QStringLiteral("prompt Card B\n"), QStringLiteral("progress"),
                                          QStringLiteral("message powercycle")}));
        QCOMPARE(runsOf(*updater, QStringLiteral("update")),
                 (QStringList{QStringLiteral("-gui update /dev/vantorix/dv0"),
                              QStringLiteral("-gui update /dev/vantorix/dv1")}));
        QVERIFY(!manager->updateRunning);
        QVERIFY(manager->deviceQueue.isEmpty());
    }

    void powerCycleMessageOnlyAfterAnAppliedUpdate_data()
    {
        QTest::addColumn<int>("firstAnswer");
        QTest::addColumn<int>("secondAnswer");
        QTest::addColumn<bool>("message");
        QTest::newRow("updated, declined") << int(Answer::UpdateNow) << int(Answer::DontUpdate) << true;
        QTest::newRow("declined, updated") << int(Answer::DontUpdate) << int(Answer::UpdateNow) << true;
        QTest::newRow("declined, declined") << int(Answer::DontUpdate) << int(Answer::DontUpdate) << false;
        QTest::newRow("ignored, declined") << int(Answer::IgnoreVersion) << int(Answer::DontUpdate) << false;
    }

    void powerCycleMessageOnlyAfterAnAppliedUpdate()
    {
        QFETCH(int, firstAnswer);
        QFETCH(int, secondAnswer);
        QFETCH(bool, message);
        updater->setScenario(QStringList{needsUpdate(0, QStringLiteral("Card A")),
                                         needsUpdate(1, QStringLiteral("Card B")),
                                         QStringLiteral("ignore-version * exit 0")}
                             + updateSucceeds());
        user->answers << Answer(firstAnswer) << Answer(secondAnswer);
        FakeCard a = openCard(0);
        FakeCard b = openCard(1);
        arrive(*manager, a.record);
        arrive(*manager, b.record);
        deliver();
        QCOMPARE(user->seen.count(QStringLiteral("message powercycle")), message ? 1 : 0);
        QCOMPARE(user->seen.last() == QLatin1String("message powercycle"), message);
        QVERIFY(!user->seen.join(QLatin1Char('|')).contains(QLatin1String("uptodate")));
    }

    void powerCycleMessageHoldsTheQueue()
    {
        updater->setScenario(QStringList{needsUpdate(0, QStringLiteral("Card A")),
                                         needsUpdate(2, QStringLiteral("Card C"))}
                             + updateSucceeds());
        user->answers << Answer::UpdateNow << Answer::DontUpdate;
        bool lockedDuringMessage = false;
        std::atomic<bool> lateArrivalDone{false};
        bool lateArrivalWaited = false;
        std::thread lateListener;
        user->onShown = [&](const QString& event) {
            if (event != QLatin1String("message powercycle") || lateListener.joinable())
                return;
            lockedDuringMessage = !manager->queueMutex.tryLock();
            if (!lockedDuringMessage)
                manager->queueMutex.unlock();
            FakeCard c = openCard(2);
            UpdateManager* target = manager.get();
            lateListener = std::thread([target, c, &lateArrivalDone] {
                UpdateManager::DeviceArrived(c.record, target);
                lateArrivalDone = true;
            });
            // The status check takes a moment; then the callback must wait
            // for the user to close the message.
            QThread::msleep(600);
            lateArrivalWaited = !lateArrivalDone;
        };
        FakeCard a = openCard(0);
        arrive(*manager, a.record);
        deliver();
        QVERIFY(lateListener.joinable());
        lateListener.join();
        QVERIFY(lockedDuringMessage);
        QVERIFY(lateArrivalWaited);
        QVERIFY(lateArrivalDone);
        // Card C is prompted once the message is closed (possibly already
        // within the same delivery).
        deliver();
        QCOMPARE(user->seen, (QStringList{QStringLiteral("prompt Card A\n"), QStringLiteral("progress"),
                                          QStringLiteral("message powercycle"), QStringLiteral("prompt Card C\n")}));
    }

    void failedUpdateStopsPromptingForGood()
    {
        updater->setScenario(QStringList{needsUpdate(0, QStringLiteral("Card A")),
                                         needsUpdate(1, QStringLiteral("Card B")),
                                         needsUpdate(2, QStringLiteral("Card C"))}
                             + updateSucceeds(QStringLiteral("/dev/vantorix/dv0"))
                             + updateFails(QStringLiteral("/dev/vantorix/dv1")));
        user->answers << Answer::UpdateNow << Answer::UpdateNow << Answer::UpdateNow;
        FakeCard a = openCard(0);
        FakeCard b = openCard(1);
        arrive(*manager, a.record);
        arrive(*manager, b.record);
        deliver();
        // The card updated earlier in the same drain gets no power-cycle message.
        QCOMPARE(user->seen, (QStringList{QStringLiteral("prompt Card A\n"), QStringLiteral("progress"),
                                          QStringLiteral("prompt Card B\n"), QStringLiteral("progress"),
                                          QStringLiteral("message error")}));
        QVERIFY(manager->updateRunning);
        QVERIFY(manager->queueMutex.tryLock());
        manager->queueMutex.unlock();

        // Later arrivals are still checked and queued, never prompted.
        QSignalSpy runUpdate(manager.get(), SIGNAL(runUpdate()));
        FakeCard c = openCard(2);
        arrive(*manager, c.record);
        QVERIFY(!isOpen(c.fd));
        QCOMPARE(runUpdate.count(), 1);
        QCOMPARE(manager->deviceQueue.size(), 1);
        deliver();
        QTest::qWait(100);
        QCOMPARE(user->seen.size(), 5);
        QCOMPARE(manager->deviceQueue.size(), 1);
        QVERIFY(manager->updateRunning);
        QCOMPARE(runsOf(*updater, QStringLiteral("status")).last(), QStringLiteral("-gui status /dev/vantorix/dv2"));
    }

    void reentryFromANestedLoopReturnsAtOnce()
    {
        updater->setScenario({needsUpdate(0, QStringLiteral("Card A")), needsUpdate(1, QStringLiteral("Card B"))});
        int seenAfterReentry = -1;
        int queuedAfterReentry = -1;
        user->onShown = [&](const QString& event) {
            if (event != QLatin1String("prompt Card A\n"))
                return;
            FakeCard b = openCard(1);
            arrive(*manager, b.record);
            // Directly, and through the queued signal that the arrival posted.
            manager->runUpdateSlot();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
            seenAfterReentry = user->seen.size();
            queuedAfterReentry = manager->deviceQueue.size();
        };
        FakeCard a = openCard(0);
        arrive(*manager, a.record);
        deliver();
        QCOMPARE(seenAfterReentry, 1);
        QCOMPARE(queuedAfterReentry, 1);
        // The running drain found Card B afterwards.
        QCOMPARE(user->seen, (QStringList{QStringLiteral("prompt Card A\n"), QStringLiteral("prompt Card B\n")}));
        QVERIFY(!manager->updateRunning);
    }

    void queuedCardsDieWithTheManager()
    {
        updater->setScenario({needsUpdate(0, QStringLiteral("Card A"))});
        FakeCard a = openCard(0);
        arrive(*manager, a.record);
        QCOMPARE(manager->deviceQueue.size(), 1);
        manager.reset();  // the pending runUpdate() goes with it
        deliver();
        QVERIFY(user->seen.isEmpty());
    }
};

QTEST_MAIN(UpdateManagerTest)
#include "UpdateManagerTest.moc"
