// Without the launcher library and without a session bus, the progress
// dialog's launcher mirror does nothing and says nothing: no connection, no
// line on stderr, no Qt message. Also how the session bus is found.
#include "DialogTestSupport.h"
#include "Device.h"
#include "LauncherBusEntry.h"
#include "LauncherLibraryHider.h"
#include "LauncherProgress.h"
#include "UpdateProgressDialog.h"

#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace DialogTest;

namespace {

QStringList g_messages;

void recordMessage(QtMsgType, const QMessageLogContext&, const QString& message)
{
    g_messages.append(message);
}

// Everything a whole update writes to stderr (the descriptor, so that a
// library's own output is caught too) and to Qt's message handler.
QByteArray outputOfOneUpdate()
{
    QTemporaryFile capture;
    if (!capture.open())
        return "cannot capture stderr";
    fflush(stderr);
    const int saved = dup(STDERR_FILENO);
    dup2(capture.handle(), STDERR_FILENO);
    g_messages.clear();
    QtMessageHandler previous = qInstallMessageHandler(recordMessage);
    int result = 0;
    {
        UpdateProgressDialog dialog{Device()};
        result = execWith(dialog, [&dialog]() {
            dialog.updateProgress(50.0);
            dialog.updateComplete(true);
        });
    }
    qInstallMessageHandler(previous);
    fflush(stderr);
    dup2(saved, STDERR_FILENO);
    close(saved);
    capture.seek(0);
    QByteArray output = capture.readAll();
    for (const QString& message : g_messages)
        output += "qt: " + message.toUtf8() + "\n";
    if (result != 1)
        output += "exec() gave " + QByteArray::number(result) + "\n";
    return output;
}

}

class LauncherNoBusTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_runtimeDir;

private slots:
    void initTestCase()
    {
        QVERIFY(m_runtimeDir.isValid());
        LauncherLibraryHider::hideLauncherLibrary = true;
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_runtimeDir.path()));
    }

    void noAddressNoRuntimeSocket()
    {
        QCOMPARE(LauncherBusEntry::sessionBusAddress(), QString());
        QCOMPARE(outputOfOneUpdate(), QByteArray());
        QVERIFY(!LauncherProgress::isLoaded());
        QVERIFY(!LauncherBusEntry::isConnected());
    }

    void addressOfABusThatIsNotThere()
    {
        const QString address = "unix:path=" + m_runtimeDir.path() + "/gone";
        qputenv("DBUS_SESSION_BUS_ADDRESS", address.toLocal8Bit());
        QCOMPARE(LauncherBusEntry::sessionBusAddress(), address);
        QCOMPARE(outputOfOneUpdate(), QByteArray());
        QVERIFY(!LauncherBusEntry::isConnected());
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    }

    void runtimeDirectoryBusThatIsNotASocket()
    {
        QFile notASocket(m_runtimeDir.filePath("bus"));
        QVERIFY(notASocket.open(QIODevice::WriteOnly));
        notASocket.close();
        QCOMPARE(LauncherBusEntry::sessionBusAddress(), QString());
        QCOMPARE(outputOfOneUpdate(), QByteArray());
        QVERIFY(!LauncherBusEntry::isConnected());
        QVERIFY(notASocket.remove());
    }

    // The socket a desktop session leaves in the runtime directory is the
    // bus when the variable is not set; its path is escaped as addresses
    // require. Here it is a socket nobody listens on, which is again silent.
    void runtimeDirectorySocketIsTheBus()
    {
        QTemporaryDir oddDir(m_runtimeDir.filePath("run dir,x"));
        QVERIFY(oddDir.isValid());
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(oddDir.path()));
        const QByteArray socketPath = QFile::encodeName(oddDir.filePath("bus"));
        const int socketFd = socket(AF_UNIX, SOCK_STREAM, 0);
        QVERIFY(socketFd >= 0);
        sockaddr_un address {};
        address.sun_family = AF_UNIX;
        QVERIFY(size_t(socketPath.size()) < sizeof address.sun_path);
        memcpy(address.sun_path, socketPath.constData(), size_t(socketPath.size()));
        QCOMPARE(bind(socketFd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        close(socketFd);
        QString escaped = oddDir.path();
        escaped.replace(" ", "%20").replace(",", "%2c");
        QCOMPARE(LauncherBusEntry::sessionBusAddress(), "unix:path=" + escaped + "/bus");
        QCOMPARE(outputOfOneUpdate(), QByteArray());
        QVERIFY(!LauncherBusEntry::isConnected());
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_runtimeDir.path()));
    }
};

QTEST_MAIN(LauncherNoBusTest)
#include "LauncherNoBusTest.moc"
