#include "SystemCallFaults.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "QuorvaleDeviceDiscoveryNotifier.h"

namespace {

bool environmentFlag(const char* name)
{
    const char* value = getenv(name);
    return value != nullptr && strcmp(value, "1") == 0;
}

const bool s_failMapping = environmentFlag("QUORVALE_FAULT_MMAP_FAILS");
std::atomic<bool> s_failSizing{false};
std::atomic<bool> s_failReopen{false};
std::atomic<bool> s_failThreads{false};
std::atomic<bool> s_failCalloc{false};
std::atomic<bool> s_failNothrowNew{false};
std::atomic<int> s_consistentCalls{0};

}  // namespace

namespace faults {

void failSegmentSizing(bool fail) { s_failSizing = fail; }
void failSegmentReopen(bool fail) { s_failReopen = fail; }
void failThreadCreation(bool fail) { s_failThreads = fail; }
void failNextCalloc(bool fail) { s_failCalloc = fail; }
void failNextNothrowNew(bool fail) { s_failNothrowNew = fail; }
int consistentCalls() { return s_consistentCalls; }

}  // namespace faults

extern "C" {

void* __real_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset);
int __real_ftruncate(int fd, off_t length);
int __real_shm_open(const char* name, int flags, mode_t mode);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument);
int __real_pthread_mutex_consistent(pthread_mutex_t* mutex);
void* __real_calloc(size_t count, size_t size);

void* __wrap_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset)
{
    if (length == kDiscoverySegmentSize && s_failMapping) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    return __real_mmap(address, length, protection, flags, fd, offset);
}

int __wrap_ftruncate(int fd, off_t length)
{
    if (s_failSizing) {
        errno = EIO;
        return -1;
    }
    return __real_ftruncate(fd, length);
}

int __wrap_shm_open(const char* name, int flags, mode_t mode)
{
    if ((flags & O_CREAT) == 0 && s_failReopen) {
        errno = EACCES;
        return -1;
    }
    return __real_shm_open(name, flags, mode);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument)
{
    if (s_failThreads)
        return EAGAIN;
    return __real_pthread_create(thread, attributes, entry, argument);
}

int __wrap_pthread_mutex_consistent(pthread_mutex_t* mutex)
{
    ++s_consistentCalls;
    return __real_pthread_mutex_consistent(mutex);
}

void* __wrap_calloc(size_t count, size_t size)
{
    if (s_failCalloc.exchange(false))
        return nullptr;
    return __real_calloc(count, size);
}

}  // extern "C"

// The nothrow form of operator new, wrapped under its mangled name (which
// differs between 32 and 64 bits; the build passes the right one).
void* realNothrowNew(size_t size, const std::nothrow_t& tag) noexcept
    __asm__(QUORVALE_REAL_NOTHROW_NEW);
void* wrapNothrowNew(size_t size, const std::nothrow_t& tag) noexcept
    __asm__(QUORVALE_WRAP_NOTHROW_NEW);

void* wrapNothrowNew(size_t size, const std::nothrow_t& tag) noexcept
{
    if (s_failNothrowNew.exchange(false))
        return nullptr;
    return realNothrowNew(size, tag);
}
