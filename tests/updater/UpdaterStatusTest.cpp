// The blocking calls of the updater client (status of one card, of all cards,
// ignore-version), each run against the simulated updater as a real child.
#include <QElapsedTimer>
#include <QFile>
#include <QtTest>
#include <thread>

#include "UpdaterTestSupport.h"

namespace {

const QByteArray kRecord = QByteArrayLiteral("1:ABC:1f:Card Name\n");

Device deviceWith(const QString& name, bool updateRequired, const QString& path, int flags)
{
    Device device;
    device.name = name;
    device.updateRequired = updateRequired;
    device.devicePath = path;
    device.statusFlags = static_cast<uint8_t>(flags);
    return device;
}

}  // namespace

class UpdaterStatusTest : public QObject {
    Q_OBJECT

    std::unique_ptr<UpdaterClientHarness> m_harness;

    CheckVersionPCITool& tool() { return m_harness->tool(); }
    UpdaterClientHarness& harness() { return *m_harness; }

    Device checkCard()
    {
        Device device = prefilledDevice();
        tool().checkDevice(kCard, device);
        return device;
    }

    static void verifyDevices(const QList<Device>& actual, const QList<Device>& expected)
    {
        QCOMPARE(actual.size(), expected.size());
        for (int i = 0; i < expected.size(); ++i) {
            QCOMPARE(actual.at(i).name, expected.at(i).name);
            QCOMPARE(actual.at(i).updateRequired, expected.at(i).updateRequired);
            QCOMPARE(actual.at(i).devicePath, expected.at(i).devicePath);
            QCOMPARE(int(actual.at(i).statusFlags), int(expected.at(i).statusFlags));
        }
    }

    // Runs the simulated updater straight through QProcess (no client) and
    // says how Qt reports its end.
    void runRaw(const QStringList& steps, int& exitCode, QProcess::ExitStatus& exitStatus)
    {
        QVERIFY(harness().script(QStringLiteral("status"), QString::fromLatin1(kCard), steps));
        QProcess process;
        process.start(SimulatedUpdaterFixture::program(),
                      {QStringLiteral("-gui"), QStringLiteral("status"), QString::fromLatin1(kCard)});
        QVERIFY(process.waitForFinished(10000));
        exitCode = process.exitCode();
        exitStatus = process.exitStatus();
    }

private slots:
    void init()
    {
        m_harness = std::make_unique<UpdaterClientHarness>();
        QVERIFY(m_harness->start());
    }

    void cleanup() { m_harness.reset(); }

    // ---- checkDevice: the answer for one card

    void oneCardRecordFillsEveryMember()
    {
        QVERIFY(harness().answerStatus(kRecord));
        const Device device = checkCard();
        QCOMPARE(device.updateRequired, true);
        QCOMPARE(device.devicePath, QStringLiteral("ABC"));
        QCOMPARE(int(device.statusFlags), 31);
        QCOMPARE(device.name, QStringLiteral("Card Name\n"));  // the line feed stays
    }

    void oneCardRecordFields_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<bool>("updateRequired");
        QTest::addColumn<QString>("devicePath");
        QTest::addColumn<int>("statusFlags");
        QTest::addColumn<QString>("name");
        const auto row = [](const char* tag, const char* output, bool update, const char* path,
                            int flags, const char* name) {
            QTest::newRow(tag) << QByteArray(output) << update << QString::fromLatin1(path) << flags
                               << QString::fromLatin1(name);
        };
        row("first field 0 means no update", "0:ABC:1f:Card\n", false, "ABC", 31, "Card\n");
        row("first field 10 means update", "10:ABC:1f:Card\n", true, "ABC", 31, "Card\n");
        row("first field 01 means no update", "01:ABC:1f:Card\n", false, "ABC", 31, "Card\n");
        row("first field 1x means update", "1x:ABC:1f:Card\n", true, "ABC", 31, "Card\n");
        row("empty first field means no update", ":ABC:1f:Card\n", false, "ABC", 31, "Card\n");
        row("flags 1f give 31", "1:p:1f:n", true, "p", 31, "n");
        row("flags zz give 0", "1:p:zz:n", true, "p", 0, "n");
        row("empty flags give 0", "1:p::n", true, "p", 0, "n");
        row("flags 123 give 18", "1:p:123:n", true, "p", 18, "n");
        row("flags FF give 255", "1:p:FF:n", true, "p", 255, "n");
        row("one flag digit 7 gives 7", "1:p:7:n", true, "p", 7, "n");
        row("flags 1z give 1", "1:p:1z:n", true, "p", 1, "n");
        row("flags 0x give 0", "1:p:0x:n", true, "p", 0, "n");
        row("no line feed", "1:ABC:1f:Card Name", true, "ABC", 31, "Card Name");
        row("carriage return kept", "1:ABC:1f:Card\r\n", true, "ABC", 31, "Card\r\n");
        row("blanks kept", "1: ABC :1f: Card Name \n", true, " ABC ", 31, " Card Name \n");
        row("four empty fields", ":::", false, "", 0, "");
        row("two lines in the name", "0:ABC:00:first\nsecond\n", false, "ABC", 0, "first\nsecond\n");
    }

    void oneCardRecordFields()
    {
        QFETCH(QByteArray, output);
        QVERIFY(harness().answerStatus(output));
        const Device device = checkCard();
        QTEST(device.updateRequired, "updateRequired");
        QTEST(device.devicePath, "devicePath");
        QTEST(int(device.statusFlags), "statusFlags");
        QTEST(device.name, "name");
    }

    void oneCardAnswerWithoutFourFieldsIsIgnored_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::newRow("five fields, colon in the name") << QByteArray("1:ABC:1f:Card:Name\n");
        QTest::newRow("three fields") << QByteArray("1:ABC:1f\n");
        QTest::newRow("two records") << QByteArray("1:A:1f:X\n0:B:00:Y\n");
        QTest::newRow("garbage") << QByteArray("Segmentation\x01\xff garbage\n");
        QTest::newRow("empty answer") << QByteArray();
        QTest::newRow("line feed only") << QByteArray("\n");
    }

    void oneCardAnswerWithoutFourFieldsIsIgnored()
    {
        QFETCH(QByteArray, output);
        QVERIFY(harness().answerStatus(output));
        VERIFY_PREFILLED(checkCard());
    }

    void oneCardMegabyteAnswer()
    {
        const int megabyte = 1 << 20;
        QVERIFY(harness().script(QStringLiteral("status"), QString::fromLatin1(kCard),
                                 {QStringLiteral("out 0:ABC:2a:"),
                                  QStringLiteral("repeat %1 N").arg(megabyte)}));
        const Device device = checkCard();
        QCOMPARE(device.updateRequired, false);
        QCOMPARE(device.devicePath, QStringLiteral("ABC"));
        QCOMPARE(int(device.statusFlags), 0x2a);
        QCOMPARE(device.name.size(), megabyte);
        QCOMPARE(device.name, QString(megabyte, QLatin1Char('N')));
    }

    void oneCardMegabyteOfGarbage()
    {
        QVERIFY(harness().script(QStringLiteral("status"), QString::fromLatin1(kCard),
                                 {QStringLiteral("repeat 1048576 x")}));
        VERIFY_PREFILLED(checkCard());
        QCOMPARE(harness().liveProcesses(), 1);  // exit code 0: the answered process stays
    }

    void oneCardStandardErrorIsNotTheAnswer()
    {
        QVERIFY(harness().script(QStringLiteral("status"), QString::fromLatin1(kCard),
                                 {QStringLiteral("err 0:ERR:00:Error\\n"), QStringLiteral("out 1:ABC:1f:Card"),
                                  QStringLiteral("err more:noise")}));
        const Device device = checkCard();
        QCOMPARE(device.devicePath, QStringLiteral("ABC"));
        QCOMPARE(device.name, QStringLiteral("Card"));
    }

    void oneCardAnswerArrivingInPieces()
    {
        // The client waits for the end of the process, not for the first bytes.
        QVERIFY(harness().script(QStringLiteral("status"), QString::fromLatin1(kCard),
                                 {QStringLiteral("out 1:AB"), QStringLiteral("sleep 150"),
                                  QStringLiteral("out C:1f:Ca"), QStringLiteral("sleep 150"),
                                  QStringLiteral("out rd\\n")}));
        const Device device = checkCard();
        QCOMPARE(device.devicePath, QStringLiteral("ABC"));
        QCOMPARE(device.name, QStringLiteral("Card\n"));
    }

    void oneCardNonZeroExitIsNoAnswer_data()
    {
        QTest::addColumn<int>("exitCode");
        QTest::newRow("exit 1") << 1;
        QTest::newRow("exit 2") << 2;
        QTest::newRow("exit 255") << 255;
    }

    void oneCardNonZeroExitIsNoAnswer()
    {
        QFETCH(int, exitCode);
        QVERIFY(harness().answerStatus(kRecord, exitCode));
        VERIFY_PREFILLED(checkCard());
        QCOMPARE(harness().liveProcesses(), 0);
    }

    void oneCardExitBySignalIsNoAnswer_data()
    {
        QTest::addColumn<QString>("signalName");
        QTest::newRow("SEGV") << QStringLiteral("SEGV");
        QTest::newRow("KILL") << QStringLiteral("KILL");
        QTest::newRow("ABRT") << QStringLiteral("ABRT");
    }

    void oneCardExitBySignalIsNoAnswer()
    {
        QFETCH(QString, signalName);
        QVERIFY(harness().script(QStringLiteral("status"), QString::fromLatin1(kCard),
                                 {QStringLiteral("out 1:ABC:1f:Card Name\\n"),
                                  QStringLiteral("signal ") + signalName}));
        VERIFY_PREFILLED(checkCard());
        QCOMPARE(harness().liveProcesses(), 0);
    }

    // What the client sees of a crash: Qt reports the signal number as the exit
    // code, so an updater that dies by a signal never counts as answered.
    void crashShowsSignalNumberAsExitCode_data()
    {
        QTest::addColumn<QString>("signalName");
        QTest::addColumn<int>("expectedExitCode");
        QTest::newRow("SEGV") << QStringLiteral("SEGV") << 11;
        QTest::newRow("KILL") << QStringLiteral("KILL") << 9;
        QTest::newRow("ABRT") << QStringLiteral("ABRT") << 6;
    }

    void crashShowsSignalNumberAsExitCode()
    {
        QFETCH(QString, signalName);
        int exitCode = -1;
        QProcess::ExitStatus exitStatus = QProcess::NormalExit;
        runRaw({QStringLiteral("signal ") + signalName}, exitCode, exitStatus);
        QCOMPARE(exitStatus, QProcess::CrashExit);
        QTEST(exitCode, "expectedExitCode");
    }

    void oneCardCommandLine()
    {
        QVERIFY(harness().answerStatus(kRecord));
        checkCard();
        const QList<QStringList> expected = {
            {QStringLiteral("-gui"), QStringLiteral("status"), QStringLiteral("/dev/vantorix/dv0")}};
        QCOMPARE(harness().updater().runs(), expected);
    }

    void oneCardPathWithBlankIsOneArgument()
    {
        QVERIFY(harness().answerStatus("0:/dev/vantorix/card 1:00:Card\n", 0,
                                       QStringLiteral("/dev/vantorix/card\\s1")));
        Device device = prefilledDevice();
        tool().checkDevice("/dev/vantorix/card 1", device);
        QCOMPARE(device.devicePath, QStringLiteral("/dev/vantorix/card 1"));
        const QList<QStringList> expected = {
            {QStringLiteral("-gui"), QStringLiteral("status"), QStringLiteral("/dev/vantorix/card 1")}};
        QCOMPARE(harness().updater().runs(), expected);
    }

    void oneCardUpdaterMissing()
    {
        const QString missingPath = harness().updater().folder() + QStringLiteral("/VantorixFirmwareUpdater");
        CheckVersionPCITool missing(missingPath);
        Device device = prefilledDevice();
        QElapsedTimer timer;
        timer.start();
        missing.checkDevice(kCard, device);
        QVERIFY2(timer.elapsed() < 5000, "a missing updater must not be waited for");
        VERIFY_PREFILLED(device);
        QCOMPARE(holdersOf(missingPath), 2);  // the process is gone again
    }

    void oneCardUpdaterNotExecutable()
    {
        const QString copy = harness().updater().folder() + QStringLiteral("/not-executable");
        QVERIFY(QFile::copy(SimulatedUpdaterFixture::program(), copy));
        QVERIFY(QFile::setPermissions(copy, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));
        QVERIFY(harness().answerStatus(kRecord));
        CheckVersionPCITool notExecutable(copy);
        Device device = prefilledDevice();
        QElapsedTimer timer;
        timer.start();
        notExecutable.checkDevice(kCard, device);
        QVERIFY(timer.elapsed() < 5000);
        VERIFY_PREFILLED(device);
        QVERIFY(harness().updater().runs().isEmpty());
    }

    void oneCardUpdaterIsADirectory()
    {
        CheckVersionPCITool directory(harness().updater().folder());
        Device device = prefilledDevice();
        directory.checkDevice(kCard, device);
        VERIFY_PREFILLED(device);
    }

    // The process of an answered status stays allocated to the end of the
    // program; every other outcome deletes it.
    void oneCardKeepsTheAnsweredProcess()
    {
        QCOMPARE(harness().liveProcesses(), 0);
        QVERIFY(harness().answerStatus(kRecord));
        checkCard();
        QCOMPARE(harness().liveProcesses(), 1);
        checkCard();
        QCOMPARE(harness().liveProcesses(), 2);
        QVERIFY(harness().answerStatus("not a record"));
        checkCard();
        QCOMPARE(harness().liveProcesses(), 3);
        QVERIFY(harness().answerStatus(kRecord, 1));
        checkCard();
        QCOMPARE(harness().liveProcesses(), 3);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(harness().liveProcesses(), 3);
    }

    void oneCardOnAThreadWithoutEventLoop()
    {
        QVERIFY(harness().answerStatus(kRecord));
        Device device = prefilledDevice();
        std::thread listener([&] { tool().checkDevice(kCard, device); });
        listener.join();
        QCOMPARE(device.devicePath, QStringLiteral("ABC"));
        QCOMPARE(device.name, QStringLiteral("Card Name\n"));
    }

    void failuresPrintNothing()
    {
        const QString missingPath = harness().updater().folder() + QStringLiteral("/missing");
        CheckVersionPCITool missing(missingPath);
        MessageCatcher catcher;
        Device device = prefilledDevice();
        QList<Device> devices;
        missing.checkDevice(kCard, device);
        missing.checkDevices(devices);
        missing.disableVersionCheck(device);
        QVERIFY(harness().answerStatus("garbage", 3));
        tool().checkDevice(kCard, device);
        QVERIFY(harness().answerStatus("garbage", 0));
        tool().checkDevice(kCard, device);
        QVERIFY(harness().script(QStringLiteral("status"), QStringLiteral("*"), {QStringLiteral("signal SEGV")}));
        tool().checkDevice(kCard, device);
        tool().checkDevices(devices);
        QCOMPARE(catcher.messages(), QStringList());
    }

    // ---- checkDevices: the answer for every card

    void allCardsNameLosesItsLineFeed()
    {
        QVERIFY(harness().answerStatus(kRecord, 0, QStringLiteral("-")));
        QList<Device> devices;
        tool().checkDevices(devices);
        verifyDevices(devices, {deviceWith(QStringLiteral("Card Name"), true, QStringLiteral("ABC"), 31)});
    }

    void allCardsInPrintedOrder()
    {
        QVERIFY(harness().answerStatus("0:/dev/vantorix/dv1:00:Quorvale One\n"
                                       "1:/dev/vantorix/dv0:1f:Quorvale Duo\n"
                                       "10:/dev/vantorix/card2:123:Quorvale Quad\n",
                                       0, QStringLiteral("-")));
        QList<Device> devices;
        tool().checkDevices(devices);
        verifyDevices(devices,
                      {deviceWith(QStringLiteral("Quorvale One"), false, QStringLiteral("/dev/vantorix/dv1"), 0),
                       deviceWith(QStringLiteral("Quorvale Duo"), true, QStringLiteral("/dev/vantorix/dv0"), 31),
                       deviceWith(QStringLiteral("Quorvale Quad"), true, QStringLiteral("/dev/vantorix/card2"), 18)});
    }

    void allCardsBadLinesAreSkipped()
    {
        QVERIFY(harness().answerStatus("garbage\n"
                                       "1:A:01:First\n"
                                       "1:B:02:Colon:In Name\n"
                                       "\n"
                                       "1:C:03\n"
                                       "0:D:zz:Second\r\n"
                                       ":::\n"
                                       "1:E:ff:Last",
                                       0, QStringLiteral("-")));
        QList<Device> devices;
        tool().checkDevices(devices);
        verifyDevices(devices, {deviceWith(QStringLiteral("First"), true, QStringLiteral("A"), 1),
                                deviceWith(QStringLiteral("Second\r"), false, QStringLiteral("D"), 0),
                                deviceWith(QString(), false, QString(), 0),
                                deviceWith(QStringLiteral("Last"), true, QStringLiteral("E"), 255)});
    }

    void allCardsListIsClearedFirst_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<bool>("missingUpdater");
        QTest::newRow("exit 1") << QStringList{QStringLiteral("out 1:A:01:First\\n"), QStringLiteral("exit 1")}
                                << false;
        QTest::newRow("crash") << QStringList{QStringLiteral("out 1:A:01:First\\n"), QStringLiteral("signal SEGV")}
                               << false;
        QTest::newRow("garbage") << QStringList{QStringLiteral("out no\\ncards\\nhere\\n")} << false;
        QTest::newRow("empty answer") << QStringList{QStringLiteral("exit 0")} << false;
        QTest::newRow("updater missing") << QStringList{QStringLiteral("exit 0")} << true;
    }

    void allCardsListIsClearedFirst()
    {
        QFETCH(QStringList, steps);
        QFETCH(bool, missingUpdater);
        QVERIFY(harness().script(QStringLiteral("status"), QStringLiteral("-"), steps));
        CheckVersionPCITool missing(harness().updater().folder() + QStringLiteral("/missing"));
        QList<Device> devices = {prefilledDevice(), prefilledDevice()};
        (missingUpdater ? missing : tool()).checkDevices(devices);
        QVERIFY(devices.isEmpty());
    }

    void allCardsCommandLine()
    {
        QVERIFY(harness().answerStatus(kRecord, 0, QStringLiteral("-")));
        QList<Device> devices;
        tool().checkDevices(devices);
        const QList<QStringList> expected = {{QStringLiteral("-gui"), QStringLiteral("status")}};
        QCOMPARE(harness().updater().runs(), expected);
    }

    void allCardsMegabyteAnswer()
    {
        QVERIFY(harness().script(QStringLiteral("status"), QStringLiteral("-"),
                                 {QStringLiteral("repeat 65536 1:ABCDEFGHIJ:1f:Card\\n")}));  // 1 MiB
        QList<Device> devices;
        tool().checkDevices(devices);
        QCOMPARE(devices.size(), 65536);
        QCOMPARE(devices.last().devicePath, QStringLiteral("ABCDEFGHIJ"));
        QCOMPARE(devices.last().name, QStringLiteral("Card"));
    }

    void allCardsDeletesItsProcess()
    {
        QVERIFY(harness().answerStatus(kRecord, 0, QStringLiteral("-")));
        QList<Device> devices;
        tool().checkDevices(devices);
        QCOMPARE(devices.size(), 1);
        QCOMPARE(harness().liveProcesses(), 0);
        QVERIFY(harness().answerStatus(kRecord, 1, QStringLiteral("-")));
        tool().checkDevices(devices);
        QCOMPARE(harness().liveProcesses(), 0);
    }

    // ---- disableVersionCheck

    void ignoreVersionCommandLine()
    {
        QVERIFY(harness().script(QStringLiteral("ignore-version"), QStringLiteral("*"), {QStringLiteral("exit 0")}));
        Device device = prefilledDevice();
        device.devicePath = QStringLiteral("/dev/vantorix/card3");
        tool().disableVersionCheck(device);
        const QList<QStringList> expected = {
            {QStringLiteral("-gui"), QStringLiteral("ignore-version"), QStringLiteral("/dev/vantorix/card3")}};
        QCOMPARE(harness().updater().runs(), expected);
    }

    void ignoreVersionWaitsForTheUpdater()
    {
        QVERIFY(harness().script(QStringLiteral("ignore-version"), QString::fromLatin1(kCard),
                                 {QStringLiteral("sleep 400"), QStringLiteral("exit 0")}));
        Device device;
        device.devicePath = QString::fromLatin1(kCard);
        QElapsedTimer timer;
        timer.start();
        tool().disableVersionCheck(device);
        QVERIFY(timer.elapsed() >= 400);
    }

    void ignoreVersionResultIsIgnored_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::newRow("exit 0") << QStringList{QStringLiteral("exit 0")};
        QTest::newRow("exit 1 with text") << QStringList{QStringLiteral("out refused\\n"), QStringLiteral("exit 1")};
        QTest::newRow("crash") << QStringList{QStringLiteral("signal SEGV")};
    }

    void ignoreVersionResultIsIgnored()
    {
        QFETCH(QStringList, steps);
        QVERIFY(harness().script(QStringLiteral("ignore-version"), QString::fromLatin1(kCard), steps));
        Device device;
        device.devicePath = QString::fromLatin1(kCard);
        MessageCatcher catcher;
        tool().disableVersionCheck(device);
        QCOMPARE(harness().updater().runs().size(), 1);
        QCOMPARE(harness().liveProcesses(), 0);
        QCOMPARE(catcher.messages(), QStringList());
    }
};

QTEST_GUILESS_MAIN(UpdaterStatusTest)
#include "UpdaterStatusTest.moc"
