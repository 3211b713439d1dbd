// Preloaded into the companion by the fault tests: with
// HOTPLUG_STOP_IN_BROADCAST set, the process stops itself (SIGSTOP) inside
// the first pthread_cond_broadcast, which a post makes while it holds the
// channel's mutex. The test then kills it there.
#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>

#include <cstdlib>
#include <cstring>

extern "C" __attribute__((visibility("default"))) int pthread_cond_broadcast(pthread_cond_t* condition)
{
    static bool stoppedOnce = false;
    if (!stoppedOnce && getenv("HOTPLUG_STOP_IN_BROADCAST") != nullptr) {
        stoppedOnce = true;
        raise(SIGSTOP);
    }
    using Broadcast = int (*)(pthread_cond_t*);
    static Broadcast real = nullptr;
    if (real == nullptr) {
        void* symbol = dlsym(RTLD_NEXT, "pthread_cond_broadcast");
        memcpy(&real, &symbol, sizeof real);
    }
    return real(condition);
}
