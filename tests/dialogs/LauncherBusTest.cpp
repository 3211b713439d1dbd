// The launcher signals on a private session bus (run under dbus-run-session),
// both ways: first with the launcher library hidden, when the progress dialog
// sends the launcher entry's Update signal itself, then with the real
// library, which sends its own. The test plays the launcher, records both and
// compares the values they carried.
#include "DialogTestSupport.h"
#include "Device.h"
#include "LauncherBusEntry.h"
#include "LauncherLibraryHider.h"
#include "LauncherProgress.h"
#include "UpdateProgressDialog.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QProgressBar>
#include <QTest>
#include <QVariantMap>

#include <algorithm>

using namespace DialogTest;

namespace {

const char kLauncherService[] = "com.canonical.Unity";
const char kAppUri[] = "application://VantorixFirmwareUpdaterGui.desktop";
const QStringList kProperties = {"progress-visible", "progress", "urgent"};

struct Update {
    QString path;
    QString appUri;
    QVariantMap properties;
};

// The values each launcher property took, in the order they were sent.
using Values = QMap<QString, QVariantList>;

}

class Launcher : public QObject {
    Q_OBJECT
public:
    QList<Update> updates;

    QVariantList valuesOf(const QString& property) const
    {
        QVariantList values;
        for (const Update& update : updates)
            if (update.properties.contains(property))
                values.append(update.properties.value(property));
        return values;
    }

    Values values() const
    {
        Values all;
        for (const QString& property : kProperties)
            all.insert(property, valuesOf(property));
        return all;
    }

    bool sawProgress(double fraction) const
    {
        for (const QVariant& value : valuesOf("progress"))
            if (qAbs(value.toDouble() - fraction) < 1e-12)
                return true;
        return false;
    }

    bool ended() const
    {
        const QVariantList visible = valuesOf("progress-visible");
        return valuesOf("urgent").contains(true) && !visible.isEmpty() && visible.last() == false;
    }

    QString dump() const
    {
        QStringList lines;
        for (const Update& update : updates) {
            QStringList properties;
            for (auto it = update.properties.begin(); it != update.properties.end(); ++it)
                properties << it.key() + "=" + it.value().toString();
            lines << update.path + " " + update.appUri + " {" + properties.join(", ") + "}";
        }
        return lines.join("\n");
    }

public slots:
    void update(const QString& appUri, const QVariantMap& properties, const QDBusMessage& message)
    {
        updates.append({message.path(), appUri, properties});
    }
};

class LauncherBusTest : public QObject {
    Q_OBJECT
    Launcher m_launcher;
    Values m_fromUs;

    // One update as the update manager drives it, waiting for each value to
    // reach the launcher before the next (the library sends changes from its
    // event loop and merges those still pending).
    void runUpdate()
    {
        m_launcher.updates.clear();
        UpdateProgressDialog dialog{Device()};
        QTRY_VERIFY2_WITH_TIMEOUT(m_launcher.valuesOf("progress-visible").contains(true),
                                  qPrintable(m_launcher.dump()), 15000);
        const int result = execWith(dialog, [this, &dialog]() {
            dialog.updateProgress(99.9);
            QCOMPARE(dialog.findChild<QProgressBar*>()->value(), 99);
            QTRY_VERIFY2_WITH_TIMEOUT(m_launcher.sawProgress(0.999), qPrintable(m_launcher.dump()), 15000);
            dialog.updateProgress(150.0);
            QTRY_VERIFY2_WITH_TIMEOUT(m_launcher.sawProgress(1.5), qPrintable(m_launcher.dump()), 15000);
            dialog.updateComplete(true);
        }, 40000);
        QCOMPARE(result, 1);
        QTRY_VERIFY2_WITH_TIMEOUT(m_launcher.ended(), qPrintable(m_launcher.dump()), 15000);
        for (const Update& update : m_launcher.updates)
            QCOMPARE(update.appUri, QString(kAppUri));
        qInfo("%s", qPrintable(m_launcher.dump()));
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS"),
                 "run under dbus-run-session");
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.isConnected());
        QVERIFY(bus.connect(QString(), QString(), LauncherBusEntry::kInterface, "Update", &m_launcher,
                            SLOT(update(QString,QVariantMap,QDBusMessage))));
        QVERIFY(bus.registerService(kLauncherService));
    }

    void withoutTheLibraryTheDialogSendsTheSignals()
    {
        LauncherLibraryHider::hideLauncherLibrary = true;
        runUpdate();
        QVERIFY(!LauncherProgress::isLoaded());
        QVERIFY(LauncherLibraryHider::refusals >= 3);
        QVERIFY(LauncherBusEntry::isConnected());
        for (const Update& update : m_launcher.updates) {
            QCOMPARE(update.path, QString(LauncherBusEntry::kObjectPath));
            QCOMPARE(update.properties.size(), 1);  // one signal per launcher call
        }
        m_fromUs = m_launcher.values();
        const Values expected = {
            {"progress-visible", {true, false}},
            {"progress", {99.9 / 100.0, 1.5}},
            {"urgent", {true}}};
        QCOMPARE(m_fromUs, expected);
        // The end: hidden first, then urgent, as the library is told.
        QCOMPARE(m_launcher.updates.size(), 5);
        QVERIFY(m_launcher.updates[3].properties.contains("progress-visible"));
        QVERIFY(m_launcher.updates[4].properties.contains("urgent"));
    }

    void withTheLibraryOnlyItsSignalsCarryTheSameValues()
    {
        if (m_fromUs.isEmpty())
            QSKIP("the first path did not pass");
        LauncherLibraryHider::hideLauncherLibrary = false;
        runUpdate();
        QVERIFY2(LauncherProgress::isLoaded(), "the launcher library did not load");
        for (const Update& update : m_launcher.updates)
            QVERIFY2(update.path != QString(LauncherBusEntry::kObjectPath), qPrintable(m_launcher.dump()));
        // The library announces an entry's whole state once, when it first
        // finds the launcher (recognisable by the count it carries); that
        // announcement answers no call of the dialog.
        m_launcher.updates.erase(std::remove_if(m_launcher.updates.begin(), m_launcher.updates.end(),
                                                [](const Update& update) {
                                                    return update.properties.contains("count");
                                                }),
                                 m_launcher.updates.end());
        QCOMPARE(m_launcher.values(), m_fromUs);
    }
};

QTEST_MAIN(LauncherBusTest)
#include "LauncherBusTest.moc"
