// Shared pieces of the device tests: a fixture owning the simulated cards
// and a baseline of this process's open descriptors.
#ifndef VANTORIX_DEVICE_TEST_SUPPORT_H
#define VANTORIX_DEVICE_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "QuorvaleDeviceNode.h"
#include "QuorvaleIterator.h"
#include "SimulatedCard.h"

class DeviceTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(simcard::SimulatedCard::emulationActive()); }

    // Call once the nodes exist: the emulation keeps a listening socket per
    // node, and closes its side of earlier connections when its thread runs.
    void takeBaseline() { baseline = simcard::baselineDescriptorCount(); }
    // The emulation closes its side of a socket asynchronously, and the
    // baseline may hold one such transient: a leak shows as more than it.
    std::size_t descriptorsNow() const { return simcard::settledDescriptorCount(baseline, 10000); }

    static QuorvaleDeviceNode node(const char* prefix, unsigned unit)
    {
        QuorvaleDeviceNode n{};
        strncpy(n.namePrefix, prefix, sizeof n.namePrefix - 1);
        n.unitNumber = uint8_t(unit);
        return n;
    }

    static std::string name(const QuorvaleDeviceNode& n)
    {
        return std::string(n.namePrefix) + std::to_string(unsigned(n.unitNumber));
    }

    static std::vector<std::string> order(const QuorvaleIteratorRec* iterator)
    {
        std::vector<std::string> names;
        for (const QuorvaleDeviceNode& n : iterator->nodes)
            names.push_back(name(n));
        return names;
    }

    simcard::SimulatedCard card;
    std::size_t baseline = 0;
};

#endif
