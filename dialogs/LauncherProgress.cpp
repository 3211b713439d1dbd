#include "LauncherProgress.h"

#include <dlfcn.h>

const char* const LauncherProgress::kLibraryNames[3] = {
    "libunity.so.4", "libunity.so.6", "libunity.so.9"};
const char* const LauncherProgress::kDesktopId = "VantorixFirmwareUpdaterGui.desktop";

void* LauncherProgress::s_handle = nullptr;
LauncherProgress::GetForDesktopIdFunction LauncherProgress::s_getForDesktopId = nullptr;
LauncherProgress::SetProgressFunction LauncherProgress::s_setProgress = nullptr;
LauncherProgress::SetFlagFunction LauncherProgress::s_setProgressVisible = nullptr;
LauncherProgress::SetFlagFunction LauncherProgress::s_setUrgent = nullptr;

namespace {

template <typename Function>
void lookUp(void* handle, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(dlsym(handle, name));
}

}

bool LauncherProgress::load()
{
    if (s_handle)
        return true;
    for (const char* name : kLibraryNames) {
        s_handle = dlopen(name, RTLD_LAZY);
        if (s_handle)
            break;
    }
    if (!s_handle)
        return false;
    lookUp(s_handle, "unity_launcher_entry_get_for_desktop_id", s_getForDesktopId);
    lookUp(s_handle, "unity_launcher_entry_set_progress", s_setProgress);
    lookUp(s_handle, "unity_launcher_entry_set_progress_visible", s_setProgressVisible);
    lookUp(s_handle, "unity_launcher_entry_set_urgent", s_setUrgent);
    return true;
}

bool LauncherProgress::isLoaded()
{
    return s_handle != nullptr;
}

LauncherProgress::Entry LauncherProgress::entry()
{
    return s_getForDesktopId ? s_getForDesktopId(kDesktopId) : nullptr;
}

void LauncherProgress::setProgress(Entry entry, double fraction)
{
    if (entry && s_setProgress)
        s_setProgress(entry, fraction);
}

void LauncherProgress::setProgressVisible(Entry entry, bool visible)
{
    if (entry && s_setProgressVisible)
        s_setProgressVisible(entry, visible ? 1 : 0);
}

void LauncherProgress::setUrgent(Entry entry, bool urgent)
{
    if (entry && s_setUrgent)
        s_setUrgent(entry, urgent ? 1 : 0);
}
