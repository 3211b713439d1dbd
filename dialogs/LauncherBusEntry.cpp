#include "LauncherBusEntry.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QVariantMap>

#include <sys/stat.h>

const char* const LauncherBusEntry::kInterface = "com.canonical.Unity.LauncherEntry";
const char* const LauncherBusEntry::kSignal = "Update";
const char* const LauncherBusEntry::kObjectPath =
    "/com/vantorixlabs/VantorixFirmwareUpdaterGui/LauncherEntry";
const char* const LauncherBusEntry::kAppUri = "application://VantorixFirmwareUpdaterGui.desktop";

namespace {

// A connection of our own, so that nothing else in the process (and no
// default session connection with its autolaunch) is involved.
const char kConnectionName[] = "vantorix-launcher-entry";

// D-Bus addresses escape every byte outside [-0-9A-Za-z_/.\*] as %XX.
QString escapedAddressValue(const QByteArray& value)
{
    QString escaped;
    for (const char c : value) {
        const unsigned char u = static_cast<unsigned char>(c);
        if ((u >= '0' && u <= '9') || (u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z')
            || u == '-' || u == '_' || u == '/' || u == '.' || u == '\\' || u == '*')
            escaped += QLatin1Char(c);
        else
            escaped += QString::asprintf("%%%02x", u);
    }
    return escaped;
}

}

QString LauncherBusEntry::sessionBusAddress()
{
    const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    if (!address.isEmpty())
        return QString::fromLocal8Bit(address);
    const QByteArray runtimeDir = qgetenv("XDG_RUNTIME_DIR");
    if (runtimeDir.isEmpty())
        return QString();
    const QByteArray socketPath = runtimeDir + "/bus";
    struct stat status {};
    if (stat(socketPath.constData(), &status) != 0 || !S_ISSOCK(status.st_mode))
        return QString();
    return QStringLiteral("unix:path=") + escapedAddressValue(socketPath);
}

bool LauncherBusEntry::isConnected()
{
    return QDBusConnection(QString::fromLatin1(kConnectionName)).isConnected();
}

bool LauncherBusEntry::connect()
{
    const QString name = QString::fromLatin1(kConnectionName);
    if (isConnected())
        return true;
    // A connection that was lost (or never made) is dropped so that a later
    // dialog can try again, as the library's loading does.
    QDBusConnection::disconnectFromBus(name);
    const QString address = sessionBusAddress();
    if (address.isEmpty())
        return false;
    if (QDBusConnection::connectToBus(address, name).isConnected())
        return true;
    QDBusConnection::disconnectFromBus(name);
    return false;
}

void LauncherBusEntry::send(const char* property, const QVariant& value)
{
    QDBusConnection bus(QString::fromLatin1(kConnectionName));
    if (!bus.isConnected())
        return;
    QDBusMessage update = QDBusMessage::createSignal(QString::fromLatin1(kObjectPath),
                                                     QString::fromLatin1(kInterface),
                                                     QString::fromLatin1(kSignal));
    QVariantMap properties;
    properties.insert(QString::fromLatin1(property), value);
    update << QString::fromLatin1(kAppUri) << properties;
    bus.send(update);
}

void LauncherBusEntry::setProgress(double fraction)
{
    send("progress", QVariant(fraction));
}

void LauncherBusEntry::setProgressVisible(bool visible)
{
    send("progress-visible", QVariant(visible));
}

void LauncherBusEntry::setUrgent(bool urgent)
{
    send("urgent", QVariant(urgent));
}
