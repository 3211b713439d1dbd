#include "HotplugTestSupport.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace hotplugtest {

bool runsUnderUserEmulation()
{
    // glibc registers every thread's robust list; qemu refuses the call.
    void* head = nullptr;
    size_t length = 0;
    return syscall(SYS_get_robust_list, 0, &head, &length) != 0 || head == nullptr;
}

}  // namespace hotplugtest
