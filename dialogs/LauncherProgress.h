// The optional desktop launcher library, looked up by name at run time, that
// mirrors update progress on the program's launcher icon.
#ifndef VANTORIX_LAUNCHERPROGRESS_H
#define VANTORIX_LAUNCHERPROGRESS_H

// Process-wide: the first successful load is kept for the life of the
// process (never unloaded); while no library has loaded, every load() tries
// the names again. Every call is a no-op when its function was not found.
class LauncherProgress {
public:
    using Entry = void*;  // the library's launcher entry, never released

    // Library names tried in order, the first that loads wins.
    static const char* const kLibraryNames[3];
    static const char* const kDesktopId;

    // Loads the library unless one is already loaded; true when one is.
    static bool load();
    static bool isLoaded();

    // The entry for kDesktopId, or null without library or lookup function.
    static Entry entry();
    static void setProgress(Entry entry, double fraction);
    static void setProgressVisible(Entry entry, bool visible);
    static void setUrgent(Entry entry, bool urgent);

private:
    // The library's booleans are C ints (0 or 1).
    using GetForDesktopIdFunction = Entry (*)(const char* desktopId);
    using SetProgressFunction = void (*)(Entry entry, double progress);
    using SetFlagFunction = void (*)(Entry entry, int value);

    static void* s_handle;
    static GetForDesktopIdFunction s_getForDesktopId;
    static SetProgressFunction s_setProgress;
    static SetFlagFunction s_setProgressVisible;
    static SetFlagFunction s_setUrgent;
};

#endif
