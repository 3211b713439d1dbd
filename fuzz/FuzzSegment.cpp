// The shared segment holding anything at all (but a working mutex and
// condition variable): one notify, then one listener pass, with a fake open
// that insists on being given a node.
#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "QuorvaleDeviceDiscoveryNotifier.h"

// Linked with --wrap: the listener's opens land here.
extern "C" QuorvaleInstanceRec* __wrap_QuorvaleOpenDevice(const QuorvaleDeviceNode* node)
{
    if (!node->hasTerminatedPrefix())
        __builtin_trap();
    char path[64];
    node->toPath(path);
    return nullptr;
}

namespace {

class Silent : public IQuorvaleDeviceDiscoveryNotifierDelegate {
public:
    void ProcessNotification(QuorvaleInstanceRec*, bool) override { __builtin_trap(); }
};

QuorvaleDiscoverySegment* segment()
{
    static auto* mapping = static_cast<QuorvaleDiscoverySegment*>(
        mmap(nullptr, kDiscoverySegmentSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    return mapping;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    QuorvaleDiscoverySegment* shared = segment();
    auto* bytes = reinterpret_cast<uint8_t*>(shared);
    // The first bytes choose the posted node, its flag and the reader's slot;
    // the rest fill the segment around the mutex and the condition.
    QuorvaleDeviceNode node{};
    uint8_t choice = 0;
    int8_t readFrom = 0;
    if (size >= sizeof node + 2) {
        memcpy(static_cast<void*>(&node), data, sizeof node);
        choice = data[sizeof node];
        readFrom = int8_t(data[sizeof node + 1]);
        data += sizeof node + 2;
        size -= sizeof node + 2;
    }
    memset(bytes, 0, kDiscoverySegmentSize);
    for (size_t at = 0; at < kDiscoverySegmentSize && size > 0; ++at)
        bytes[at] = data[at % size];
    pthread_mutexattr_t mutexAttributes;
    pthread_mutexattr_init(&mutexAttributes);
    pthread_mutexattr_setpshared(&mutexAttributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&mutexAttributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&shared->mutex, &mutexAttributes);
    pthread_cond_init(&shared->condition, nullptr);

    Silent delegate;
    QuorvaleDeviceDiscoveryNotifier notifier;
    notifier.shared = shared;
    notifier.notify(&node, (choice & 1) != 0);
    notifier.delegate = &delegate;
    notifier.readIndex = readFrom;
    notifier.lock();
    if (choice & 2)
        notifier.replayPresentDevices();
    notifier.deliverNewEvents();
    notifier.unlock();
    if (notifier.readIndex < 0 || notifier.readIndex >= kDiscoveryRingSize)
        __builtin_trap();
    notifier.delegate = nullptr;
    notifier.shared = nullptr;
    return 0;
}
