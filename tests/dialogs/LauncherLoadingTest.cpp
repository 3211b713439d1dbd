// How the progress dialog finds the launcher library: the names tried, the
// retry while none loads, and the library kept once loaded. The test sees
// every dlopen of the program through its own dlopen, which forwards to the
// system's and can hide names from this process.
#include "DialogTestSupport.h"
#include "Device.h"
#include "LauncherProgress.h"
#include "UpdateProgressDialog.h"

#include <QProgressBar>
#include <QSet>
#include <QTest>

#include <cstring>
#include <dlfcn.h>

namespace {

struct Attempt {
    QByteArray name;
    int mode;
    bool loaded;
};

QList<Attempt> g_attempts;
QSet<QByteArray> g_hidden;                    // names this process cannot load
QHash<QByteArray, QByteArray> g_standIns;     // name -> library loaded instead

void* systemDlopen(const char* file, int mode)
{
    using Dlopen = void* (*)(const char*, int);
    static const Dlopen next = reinterpret_cast<Dlopen>(dlsym(RTLD_NEXT, "dlopen"));
    return next(file, mode);
}

QList<QByteArray> names(const QList<Attempt>& attempts)
{
    QList<QByteArray> result;
    for (const Attempt& attempt : attempts)
        result.append(attempt.name);
    return result;
}

const QList<QByteArray> kAllNames = {"libunity.so.4", "libunity.so.6", "libunity.so.9"};

}

extern "C" void* dlopen(const char* file, int mode) noexcept
{
    if (!file || std::strncmp(file, "libunity", 8) != 0)
        return systemDlopen(file, mode);
    const QByteArray name(file);
    void* handle = nullptr;
    if (!g_hidden.contains(name))
        handle = systemDlopen(g_standIns.value(name, name).constData(), mode);
    g_attempts.append({name, mode, handle != nullptr});
    return handle;
}

class LauncherLoadingTest : public QObject {
    Q_OBJECT

    static int runUpdate(UpdateProgressDialog& dialog)
    {
        return DialogTest::execWith(dialog, [&dialog]() {
            dialog.updateProgress(99.9);
            dialog.updateComplete(dialog.findChild<QProgressBar*>()->value() == 99);
        });
    }

private slots:
    void init()
    {
        g_attempts.clear();
    }

    void namesAreTheThreeLibraryVersions()
    {
        QCOMPARE(QByteArray(LauncherProgress::kLibraryNames[0]), kAllNames[0]);
        QCOMPARE(QByteArray(LauncherProgress::kLibraryNames[1]), kAllNames[1]);
        QCOMPARE(QByteArray(LauncherProgress::kLibraryNames[2]), kAllNames[2]);
        QCOMPARE(QByteArray(LauncherProgress::kDesktopId), QByteArray("VantorixFirmwareUpdaterGui.desktop"));
        QVERIFY(!LauncherProgress::isLoaded());
        QVERIFY(g_attempts.isEmpty());
    }

    void withoutAnyLibraryTheDialogWorks()
    {
        g_hidden = QSet<QByteArray>(kAllNames.begin(), kAllNames.end());
        UpdateProgressDialog dialog{Device()};
        QCOMPARE(names(g_attempts), kAllNames);
        for (const Attempt& attempt : g_attempts) {
            QCOMPARE(attempt.mode, RTLD_LAZY);
            QVERIFY(!attempt.loaded);
        }
        QVERIFY(!LauncherProgress::isLoaded());
        QCOMPARE(LauncherProgress::entry(), nullptr);
        QCOMPARE(runUpdate(dialog), 1);
    }

    void nextDialogTriesTheNamesAgain()
    {
        UpdateProgressDialog dialog{Device()};
        QCOMPARE(names(g_attempts), kAllNames);
        QVERIFY(!LauncherProgress::isLoaded());
        QCOMPARE(runUpdate(dialog), 1);
    }

    void loadingStopsAtTheFirstNameThatLoads()
    {
        if (!systemDlopen("libunity.so.9", RTLD_LAZY))
            QSKIP("libunity.so.9 is not installed for this architecture");
        // Version 6 becomes loadable (the installed library stands in for it).
        g_hidden = {"libunity.so.4"};
        g_standIns = {{"libunity.so.6", "libunity.so.9"}};
        UpdateProgressDialog dialog{Device()};
        QCOMPARE(names(g_attempts), (QList<QByteArray>{"libunity.so.4", "libunity.so.6"}));
        QVERIFY(!g_attempts[0].loaded);
        QVERIFY(g_attempts[1].loaded);
        QCOMPARE(g_attempts[1].mode, RTLD_LAZY);
        QVERIFY(LauncherProgress::isLoaded());
        QVERIFY(LauncherProgress::entry() != nullptr);  // the lookup function was found
        QCOMPARE(runUpdate(dialog), 1);
    }

    void secondUpdateReusesTheLoadedLibrary()
    {
        if (!LauncherProgress::isLoaded())
            QSKIP("no launcher library was loaded");
        g_hidden = QSet<QByteArray>(kAllNames.begin(), kAllNames.end());
        UpdateProgressDialog dialog{Device()};
        QVERIFY(g_attempts.isEmpty());
        QVERIFY(LauncherProgress::isLoaded());
        QCOMPARE(runUpdate(dialog), 1);
        UpdateProgressDialog third{Device()};
        QVERIFY(g_attempts.isEmpty());
    }
};

QTEST_MAIN(LauncherLoadingTest)
#include "LauncherLoadingTest.moc"
