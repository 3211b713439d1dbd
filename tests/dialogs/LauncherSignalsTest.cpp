// The progress dialog with the real launcher library, on a private session
// bus (run under dbus-run-session). The test plays the desktop launcher: the
// library only talks while someone owns the launcher's bus name, and this
// test records the Update signals it then sends for our desktop entry.
#include "DialogTestSupport.h"
#include "Device.h"
#include "LauncherProgress.h"
#include "UpdateProgressDialog.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QProgressBar>
#include <QTest>
#include <QVariantMap>

using namespace DialogTest;

namespace {

const char kLauncherService[] = "com.canonical.Unity";
const char kEntryInterface[] = "com.canonical.Unity.LauncherEntry";
const char kAppUri[] = "application://VantorixFirmwareUpdaterGui.desktop";

}

// Records the launcher entry updates sent on the bus.
class Launcher : public QObject {
    Q_OBJECT
public:
    struct Update {
        QString appUri;
        QVariantMap properties;
    };
    QList<Update> updates;

    // Values the given property took, in the order they were sent.
    QVariantList valuesOf(const QString& property) const
    {
        QVariantList values;
        for (const Update& update : updates)
            if (update.properties.contains(property))
                values.append(update.properties.value(property));
        return values;
    }

    bool sawProgress(double fraction) const
    {
        for (const QVariant& value : valuesOf("progress"))
            if (qAbs(value.toDouble() - fraction) < 1e-12)
                return true;
        return false;
    }

    QString dump() const
    {
        QStringList lines;
        for (const Update& update : updates) {
            QStringList properties;
            for (auto it = update.properties.begin(); it != update.properties.end(); ++it)
                properties << it.key() + "=" + it.value().toString();
            lines << update.appUri + " {" + properties.join(", ") + "}";
        }
        return lines.join("\n");
    }

public slots:
    void update(const QString& appUri, const QVariantMap& properties)
    {
        updates.append({appUri, properties});
    }
};

class LauncherSignalsTest : public QObject {
    Q_OBJECT
    Launcher m_launcher;

private slots:
    void initTestCase()
    {
        QVERIFY2(qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS"),
                 "run under dbus-run-session");
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.isConnected());
        QVERIFY(bus.connect(QString(), QString(), kEntryInterface, "Update", &m_launcher,
                            SLOT(update(QString,QVariantMap))));
        QVERIFY(bus.registerService(kLauncherService));
        QVERIFY(bus.interface()->isServiceRegistered(kLauncherService));
    }

    void updateIsMirroredOnTheLauncher()
    {
        UpdateProgressDialog dialog{Device()};
        QVERIFY2(LauncherProgress::isLoaded(), "the launcher library did not load");
        QTRY_VERIFY2_WITH_TIMEOUT(m_launcher.valuesOf("progress-visible").contains(true),
                                  qPrintable(m_launcher.dump()), 15000);

        const int result = execWith(dialog, [this, &dialog]() {
            dialog.updateProgress(99.9);
            QCOMPARE(dialog.findChild<QProgressBar*>()->value(), 99);
            QTRY_VERIFY2_WITH_TIMEOUT(m_launcher.sawProgress(0.999), qPrintable(m_launcher.dump()), 15000);
            QVERIFY(m_launcher.valuesOf("progress").contains(QVariant(99.9 / 100.0)));
            dialog.updateComplete(true);
        }, 40000);
        QCOMPARE(result, 1);

        QTRY_VERIFY2_WITH_TIMEOUT(m_launcher.valuesOf("urgent").contains(true),
                                  qPrintable(m_launcher.dump()), 15000);
        QTRY_COMPARE_WITH_TIMEOUT(m_launcher.valuesOf("progress-visible").last(), QVariant(false), 15000);

        const QVariantList visible = m_launcher.valuesOf("progress-visible");
        QCOMPARE(visible.first(), QVariant(true));
        QCOMPARE(visible.last(), QVariant(false));
        QCOMPARE(m_launcher.valuesOf("urgent").last(), QVariant(true));
        for (const Launcher::Update& update : m_launcher.updates)
            QCOMPARE(update.appUri, QString(kAppUri));
        qInfo("%s", qPrintable(m_launcher.dump()));
    }

    void secondUpdatePassesPercentsUnclamped()
    {
        m_launcher.updates.clear();
        UpdateProgressDialog dialog{Device()};
        QTRY_VERIFY2_WITH_TIMEOUT(m_launcher.valuesOf("progress-visible").contains(true),
                                  qPrintable(m_launcher.dump()), 15000);
        const int result = execWith(dialog, [this, &dialog]() {
            dialog.updateProgress(150.0);
            QTRY_VERIFY2_WITH_TIMEOUT(m_launcher.sawProgress(1.5), qPrintable(m_launcher.dump()), 15000);
            dialog.updateProgress(-25.0);
            QTRY_VERIFY2_WITH_TIMEOUT(m_launcher.sawProgress(-0.25), qPrintable(m_launcher.dump()), 15000);
            dialog.updateComplete(false);
        }, 40000);
        QCOMPARE(result, 0);
        QTRY_COMPARE_WITH_TIMEOUT(m_launcher.valuesOf("progress-visible").last(), QVariant(false), 15000);
        qInfo("%s", qPrintable(m_launcher.dump()));
    }
};

QTEST_MAIN(LauncherSignalsTest)
#include "LauncherSignalsTest.moc"
