/* Stands in for the desktop launcher library in tests: found by the loader
 * under one of the names the program tries, it records every call. Built
 * twice: complete, and without the progress-visible and urgent functions. */
#include <stdlib.h>
#include <string.h>

enum { FAKE_GET_ENTRY = 1, FAKE_SET_PROGRESS, FAKE_SET_PROGRESS_VISIBLE, FAKE_SET_URGENT };

typedef struct {
    int function;
    double value;
    int onTheEntry; /* called with the entry this library handed out */
} FakeLauncherCall;

FakeLauncherCall fake_launcher_calls[256];
int fake_launcher_call_count;
char fake_launcher_desktop_id[256];

static int entry;

static void record(int function, double value, const void* on)
{
    if (fake_launcher_call_count < 256) {
        FakeLauncherCall* call = &fake_launcher_calls[fake_launcher_call_count++];
        call->function = function;
        call->value = value;
        call->onTheEntry = on == &entry;
    }
}

/* No entry at all while VANTORIX_FAKE_LAUNCHER_NO_ENTRY is set. */
void* unity_launcher_entry_get_for_desktop_id(const char* id)
{
    strncpy(fake_launcher_desktop_id, id ? id : "", sizeof fake_launcher_desktop_id - 1);
    record(FAKE_GET_ENTRY, 0.0, &entry);
    return getenv("VANTORIX_FAKE_LAUNCHER_NO_ENTRY") ? NULL : &entry;
}

void unity_launcher_entry_set_progress(void* on, double progress)
{
    record(FAKE_SET_PROGRESS, progress, on);
}

#ifndef FAKE_LAUNCHER_PARTIAL
void unity_launcher_entry_set_progress_visible(void* on, int visible)
{
    record(FAKE_SET_PROGRESS_VISIBLE, visible, on);
}

void unity_launcher_entry_set_urgent(void* on, int urgent)
{
    record(FAKE_SET_URGENT, urgent, on);
}
#endif
