// Exactly what the progress dialog asks of the launcher library, seen
// through a recording stand-in that the loader finds first on the library
// path: the complete one as "libunity.so.4", or one without the
// progress-visible and urgent functions as "libunity.so.6"
// (VANTORIX_FAKE_LAUNCHER=complete or partial).
#include "DialogTestSupport.h"
#include "Device.h"
#include "LauncherProgress.h"
#include "UpdateProgressDialog.h"

#include <QProgressBar>
#include <QTest>

#include <dlfcn.h>

namespace {

enum Function { GetEntry = 1, SetProgress, SetProgressVisible, SetUrgent };

struct Call {
    int function;
    double value;
    int onTheEntry;
};

struct Recorded {
    Call* calls = nullptr;
    int* count = nullptr;
    const char* desktopId = nullptr;
};

bool complete()
{
    return qEnvironmentVariable("VANTORIX_FAKE_LAUNCHER") == "complete";
}

const char* standInName()
{
    return complete() ? "libunity.so.4" : "libunity.so.6";
}

// The stand-in's records, from the library the dialog loaded (no new load).
Recorded recorded()
{
    Recorded r;
    void* handle = dlopen(standInName(), RTLD_LAZY | RTLD_NOLOAD);
    if (!handle)
        return r;
    r.calls = static_cast<Call*>(dlsym(handle, "fake_launcher_calls"));
    r.count = static_cast<int*>(dlsym(handle, "fake_launcher_call_count"));
    r.desktopId = static_cast<const char*>(dlsym(handle, "fake_launcher_desktop_id"));
    dlclose(handle);  // only drops the reference taken just now
    return r;
}

QList<QPair<int, double>> callsSince(int first)
{
    QList<QPair<int, double>> list;
    const Recorded r = recorded();
    for (int i = first; r.count && i < *r.count; ++i)
        list.append({r.calls[i].function, r.calls[i].value});
    return list;
}

int callCount()
{
    const Recorded r = recorded();
    return r.count ? *r.count : -1;
}

bool allOnTheEntry()
{
    const Recorded r = recorded();
    for (int i = 0; r.count && i < *r.count; ++i)
        if (!r.calls[i].onTheEntry)
            return false;
    return r.count != nullptr;
}

using Calls = QList<QPair<int, double>>;

}

class LauncherCallsTest : public QObject {
    Q_OBJECT

    static int runUpdate(UpdateProgressDialog& dialog, const QList<double>& percents, bool success)
    {
        return DialogTest::execWith(dialog, [&]() {
            for (double percent : percents)
                dialog.updateProgress(percent);
            dialog.updateComplete(success);
        });
    }

private slots:
    void initTestCase()
    {
        const QString mode = qEnvironmentVariable("VANTORIX_FAKE_LAUNCHER");
        QVERIFY2(mode == "complete" || mode == "partial", "VANTORIX_FAKE_LAUNCHER not set");
        qunsetenv("VANTORIX_FAKE_LAUNCHER_NO_ENTRY");
    }

    void theFirstNameThatLoadsIsKept()
    {
        UpdateProgressDialog dialog{Device()};
        QVERIFY(LauncherProgress::isLoaded());
        QVERIFY2(recorded().count, "the stand-in was not the library loaded");
        QCOMPARE(QByteArray(recorded().desktopId), QByteArray("VantorixFirmwareUpdaterGui.desktop"));
        // Later names were never loaded.
        QCOMPARE(dlopen("libunity.so.9", RTLD_LAZY | RTLD_NOLOAD), nullptr);
        if (!complete())
            QCOMPARE(dlopen("libunity.so.4", RTLD_LAZY | RTLD_NOLOAD), nullptr);
        dialog.updateComplete(true);
    }

    void updateCallsCarryTheFractionUnclampedThenHideAndUrge()
    {
        if (!complete())
            QSKIP("the partial stand-in lacks two functions");
        const int first = callCount();
        UpdateProgressDialog dialog{Device()};
        QCOMPARE(callsSince(first), (Calls{{GetEntry, 0}, {SetProgressVisible, 1}}));
        const int afterBuild = callCount();
        QCOMPARE(runUpdate(dialog, {0.0, 99.9, 150.0, -5.0}, true), 1);
        QCOMPARE(callsSince(afterBuild), (Calls{{SetProgress, 0.0},
                                                {SetProgress, 99.9 / 100.0},
                                                {SetProgress, 1.5},
                                                {SetProgress, -0.05},
                                                {SetProgressVisible, 0},
                                                {SetUrgent, 1}}));
        QVERIFY(qAbs(callsSince(afterBuild)[1].second - 0.999) < 1e-12);
        QVERIFY(allOnTheEntry());
    }

    void failedUpdateAlsoHidesAndUrges()
    {
        if (!complete())
            QSKIP("the partial stand-in lacks two functions");
        UpdateProgressDialog dialog{Device()};
        const int afterBuild = callCount();
        QCOMPARE(runUpdate(dialog, {}, false), 0);
        QCOMPARE(callsSince(afterBuild), (Calls{{SetProgressVisible, 0}, {SetUrgent, 1}}));
    }

    void missingFunctionsAreSkipped()
    {
        if (complete())
            QSKIP("the complete stand-in has every function");
        const int first = callCount();
        UpdateProgressDialog dialog{Device()};
        QCOMPARE(callsSince(first), (Calls{{GetEntry, 0}}));
        QCOMPARE(runUpdate(dialog, {42.0}, true), 1);
        QCOMPARE(callsSince(first), (Calls{{GetEntry, 0}, {SetProgress, 0.42}}));
        QCOMPARE(dialog.findChild<QProgressBar*>()->value(), 42);
    }

    void withoutAnEntryNothingElseIsCalled()
    {
        qputenv("VANTORIX_FAKE_LAUNCHER_NO_ENTRY", "1");
        const int first = callCount();
        UpdateProgressDialog dialog{Device()};
        QCOMPARE(runUpdate(dialog, {10.0, 99.9}, false), 0);
        qunsetenv("VANTORIX_FAKE_LAUNCHER_NO_ENTRY");
        QCOMPARE(callsSince(first), (Calls{{GetEntry, 0}}));
        QCOMPARE(dialog.findChild<QProgressBar*>()->value(), 99);
    }

    void everyDialogAsksForTheEntryAgain()
    {
        const int first = callCount();
        UpdateProgressDialog one{Device()};
        UpdateProgressDialog two{Device()};
        int entries = 0;
        for (const auto& call : callsSince(first))
            entries += call.first == GetEntry;
        QCOMPARE(entries, 2);
    }
};

QTEST_MAIN(LauncherCallsTest)
#include "LauncherCallsTest.moc"
