// The shared library as programs see it: the notification calls under their
// plain names, and a failed installation's handle released by the caller.
#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

TEST(DiscoveryExportsTest, NotificationCallsAreExportedUnmangled)
{
    void* library = dlopen(QUORVALE_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_NE(dlsym(library, "InstallQuorvaleNotificationCallback"), nullptr);
    EXPECT_NE(dlsym(library, "RemoveQuorvaleNotificationCallback"), nullptr);
    // The C++ behind them stays hidden.
    EXPECT_EQ(dlsym(library, "_ZN31QuorvaleDeviceDiscoveryNotifier7connectEv"), nullptr);
    dlclose(library);
}

}  // namespace
