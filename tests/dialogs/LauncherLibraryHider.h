// Lets a test decide whether the launcher library can be loaded: the
// program's dlopen of a "libunity" name goes through this one, which refuses
// while hideLauncherLibrary is set and forwards to the system's otherwise.
// Include it in exactly one file of a test program.
#ifndef VANTORIX_LAUNCHERLIBRARYHIDER_H
#define VANTORIX_LAUNCHERLIBRARYHIDER_H

#include <cstring>
#include <dlfcn.h>

namespace LauncherLibraryHider {

bool hideLauncherLibrary = true;
int refusals = 0;

inline void* systemDlopen(const char* file, int mode)
{
    using Dlopen = void* (*)(const char*, int);
    static const Dlopen next = reinterpret_cast<Dlopen>(dlsym(RTLD_NEXT, "dlopen"));
    return next(file, mode);
}

}

extern "C" void* dlopen(const char* file, int mode) noexcept
{
    if (file && std::strncmp(file, "libunity", 8) == 0 && LauncherLibraryHider::hideLauncherLibrary) {
        ++LauncherLibraryHider::refusals;
        return nullptr;
    }
    return LauncherLibraryHider::systemDlopen(file, mode);
}

#endif
