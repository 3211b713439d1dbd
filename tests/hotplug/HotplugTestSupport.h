// The fixture of the companion's tests: a fresh testbed of simulated cards,
// no discovery channel before the test and none left after it.
#ifndef HOTPLUG_TEST_SUPPORT_H
#define HOTPLUG_TEST_SUPPORT_H

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <functional>
#include <string>

#include "ChannelView.h"
#include "CompanionProcess.h"
#include "SimulatedCard.h"

namespace hotplugtest {

class HotplugTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(simcard::SimulatedCard::emulationActive()) << "run under the umockdev preload";
        ChannelView::remove();
        cards.createDeviceDirectory();
    }
    void TearDown() override { ChannelView::remove(); }

    // Starts a companion and waits until it is ready.
    static void startCompanion(CompanionProcess& companion)
    {
        ASSERT_TRUE(companion.waitReady()) << "companion not ready; its output:\n" << companion.output();
    }

    // SIGTERM ends the companion with status 0.
    static void expectCleanEnd(CompanionProcess& companion)
    {
        const int status = companion.terminate();
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
            << "wait status " << status << "; output:\n" << companion.output();
    }

    simcard::SimulatedCard cards;
};

// Polls `condition` every millisecond until it holds or `timeoutMs` has
// passed; returns whether it held.
bool eventually(const std::function<bool()>& condition, int timeoutMs = 20000);

// Whether this process runs under qemu's user emulation, where the kernel
// never learns of the robust-futex list and a dead holder's mutex is never
// handed on.
bool runsUnderUserEmulation();

}  // namespace hotplugtest

#endif
