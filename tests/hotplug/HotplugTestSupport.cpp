#include "HotplugTestSupport.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>

namespace hotplugtest {

bool eventually(const std::function<bool()>& condition, int timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        usleep(1000);
    }
    return true;
}

bool runsUnderUserEmulation()
{
    // glibc registers every thread's robust list; qemu refuses the call.
    void* head = nullptr;
    size_t length = 0;
    return syscall(SYS_get_robust_list, 0, &head, &length) != 0 || head == nullptr;
}

}  // namespace hotplugtest
