#include "FakeDeviceWorld.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <sstream>
#include <unistd.h>
#include <vector>

#include "QuorvaleInstanceRec.h"

namespace {

struct FakeDevice {
    QuorvaleInstanceRec record;
    QuorvaleDeviceNode node;
};

struct FakeIterator {
    size_t next = 0;
};

std::vector<std::string> splitNames(const std::string& list)
{
    std::vector<std::string> names;
    std::stringstream stream(list);
    std::string name;
    while (std::getline(stream, name, ','))
        if (!name.empty())
            names.push_back(name);
    return names;
}

const char* environment(const char* name)
{
    const char* value = getenv(name);
    return value ? value : "";
}

struct World {
    std::mutex mutex;
    std::vector<std::string> present = splitNames(environment("QUORVALE_FAKE_PRESENT"));
    std::vector<std::string> unopenable = splitNames(environment("QUORVALE_FAKE_UNOPENABLE"));
    bool iteratorFails = strcmp(environment("QUORVALE_FAKE_NO_ITERATOR"), "1") == 0;
    bool holdEnumeration = strcmp(environment("QUORVALE_FAKE_HOLD_ENUMERATION"), "1") == 0;
    bool holdIterator = strcmp(environment("QUORVALE_FAKE_HOLD_ITERATOR"), "1") == 0;
    unsigned enumerationPauseMicroseconds = unsigned(atoi(environment("QUORVALE_FAKE_ENUMERATION_PAUSE_US")));
    std::set<FakeDevice*> open;
    int tried = 0;
};

World& world()
{
    static World instance;
    return instance;
}

bool contains(const std::vector<std::string>& names, const std::string& name)
{
    for (const std::string& candidate : names)
        if (candidate == name)
            return true;
    return false;
}

// Blocks the enumerating process until the test lets it go on.
void holdUntilToldToGoOn(const std::string& what)
{
    const std::string announcement = what + "\n";
    if (write(STDOUT_FILENO, announcement.data(), announcement.size()) < 0)
        return;
    char c = 0;
    while (read(STDIN_FILENO, &c, 1) == 1 && c != '\n') {
    }
}

QuorvaleInstanceRec* openFake(const QuorvaleDeviceNode& node)
{
    World& w = world();
    std::lock_guard<std::mutex> guard(w.mutex);
    ++w.tried;
    if (node.driverName() == nullptr || contains(w.unopenable, fakeworld::nodeName(node)))
        return nullptr;
    auto* device = static_cast<FakeDevice*>(calloc(1, sizeof(FakeDevice)));
    device->record.unitNumber = node.unitNumber;
    device->record.driverName = node.driverName();
    device->node = node;
    w.open.insert(device);
    return &device->record;
}

}  // namespace

namespace fakeworld {

void setPresent(const std::string& nodes)
{
    std::lock_guard<std::mutex> guard(world().mutex);
    world().present = splitNames(nodes);
}

std::string nodeNameOf(const QuorvaleInstanceRec* device)
{
    return nodeName(reinterpret_cast<const FakeDevice*>(device)->node);
}

QuorvaleDeviceNode parseNode(const std::string& name)
{
    QuorvaleDeviceNode node{};
    node.fromPath(("/dev/vantorix/" + name).c_str());
    return node;
}

std::string nodeName(const QuorvaleDeviceNode& node)
{
    return std::string(node.namePrefix) + std::to_string(node.unitNumber);
}

int opensTried()
{
    std::lock_guard<std::mutex> guard(world().mutex);
    return world().tried;
}

int openDevices()
{
    std::lock_guard<std::mutex> guard(world().mutex);
    return int(world().open.size());
}

int closeAllOpen()
{
    std::lock_guard<std::mutex> guard(world().mutex);
    const int count = int(world().open.size());
    for (FakeDevice* device : world().open)
        free(device);
    world().open.clear();
    return count;
}

}  // namespace fakeworld

extern "C" {

QuorvaleInstanceRec* __wrap_QuorvaleOpenDevice(const QuorvaleDeviceNode* node)
{
    return openFake(*node);
}

void __wrap_CloseDriverConnectionCore(QuorvaleInstanceRec* device)
{
    if (device == nullptr)
        return;
    std::lock_guard<std::mutex> guard(world().mutex);
    world().open.erase(reinterpret_cast<FakeDevice*>(device));
    free(device);
}

QuorvaleIteratorRec* __wrap_CreateQuorvaleIterator()
{
    if (world().holdIterator)
        holdUntilToldToGoOn("creating iterator");
    std::lock_guard<std::mutex> guard(world().mutex);
    if (world().iteratorFails)
        return nullptr;
    return reinterpret_cast<QuorvaleIteratorRec*>(new FakeIterator);
}

bool __wrap_ConnectToDriverCore(QuorvaleInstanceRec** out, QuorvaleIteratorRec* iterator)
{
    auto* fake = reinterpret_cast<FakeIterator*>(iterator);
    *out = nullptr;
    std::string name;
    {
        std::lock_guard<std::mutex> guard(world().mutex);
        if (fake->next >= world().present.size())
            return false;
        name = world().present[fake->next];
    }
    if (fake->next == 0 && world().holdEnumeration)
        holdUntilToldToGoOn("enumerating");
    if (world().enumerationPauseMicroseconds != 0)
        usleep(world().enumerationPauseMicroseconds);
    ++fake->next;
    *out = openFake(fakeworld::parseNode(name));
    return *out != nullptr;
}

void __wrap_ReleaseQuorvaleIterator(QuorvaleIteratorRec* iterator)
{
    delete reinterpret_cast<FakeIterator*>(iterator);
}

}  // extern "C"
