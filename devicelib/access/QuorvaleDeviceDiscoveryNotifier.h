// The cross-process discovery channel: a presence bitmap of every device and
// a ring of the last arrival and removal events in POSIX shared memory,
// guarded by a robust process-shared mutex and signalled through a
// process-shared condition variable.
#ifndef QUORVALE_DEVICE_DISCOVERY_NOTIFIER_H
#define QUORVALE_DEVICE_DISCOVERY_NOTIFIER_H

#include <pthread.h>
#include <cstddef>
#include <cstdint>

#include "IQuorvaleDeviceDiscoveryNotifierDelegate.h"
#include "QuorvaleDeviceNode.h"

enum {
    kDiscoveryRingSize = 20,
    kDiscoveryPresenceMasks = 3,
    kDiscoveryUnitsPerMask = 64,
    kDiscoveryPresenceBits = kDiscoveryPresenceMasks * kDiscoveryUnitsPerMask,
    kDiscoveryEventArrived = 0x01
};

// initState of the segment.
enum : uint32_t {
    kDiscoverySegmentFresh = 0,
    kDiscoverySegmentReady = 1,
    kDiscoverySegmentInitialising = 2
};

// One ring slot, 17 bytes without padding: flags (bit 0 = arrival), node.
struct QuorvaleDiscoveryEventRec {
    uint8_t flags;
    QuorvaleDeviceNode node;
};

// The shared segment. Every process of the device family maps it, so its
// layout is a file format: the i386 layout below is the one the device
// family shares, byte for byte.
struct QuorvaleDiscoverySegment {
    uint32_t initState;
    pthread_mutex_t mutex;
    pthread_cond_t condition;
    uint64_t presence[kDiscoveryPresenceMasks];
    QuorvaleDiscoveryEventRec events[kDiscoveryRingSize];
    int32_t writeIndex;
};

static_assert(sizeof(QuorvaleDiscoveryEventRec) == 17, "event records are packed");
static_assert(offsetof(QuorvaleDiscoveryEventRec, node) == 1, "node follows the flag byte");

#if defined(__i386__)
// The object every 32-bit process of the device family shares.
#define QUORVALE_DISCOVERY_SEGMENT_NAME "/com_vantorixlabs_QuorvaleDiscoveryNotifier"
static_assert(offsetof(QuorvaleDiscoverySegment, initState) == 0, "shared layout");
static_assert(offsetof(QuorvaleDiscoverySegment, mutex) == 4, "shared layout");
static_assert(sizeof(pthread_mutex_t) == 24, "shared layout");
static_assert(offsetof(QuorvaleDiscoverySegment, condition) == 28, "shared layout");
static_assert(sizeof(pthread_cond_t) == 48, "shared layout");
static_assert(offsetof(QuorvaleDiscoverySegment, presence) == 76, "shared layout");
static_assert(offsetof(QuorvaleDiscoverySegment, events) == 100, "shared layout");
static_assert(offsetof(QuorvaleDiscoverySegment, writeIndex) == 440, "shared layout");
static_assert(sizeof(QuorvaleDiscoverySegment) == 444, "shared layout");
#elif defined(__x86_64__)
// pthread types are larger in a 64-bit process, so it cannot share the
// 32-bit layout: 64-bit processes meet in an object of their own and never
// open the 32-bit one.
#define QUORVALE_DISCOVERY_SEGMENT_NAME "/com_vantorixlabs_QuorvaleDiscoveryNotifier_x86_64"
static_assert(offsetof(QuorvaleDiscoverySegment, mutex) == 8, "64-bit layout");
static_assert(offsetof(QuorvaleDiscoverySegment, condition) == 48, "64-bit layout");
static_assert(offsetof(QuorvaleDiscoverySegment, presence) == 96, "64-bit layout");
static_assert(offsetof(QuorvaleDiscoverySegment, events) == 120, "64-bit layout");
static_assert(offsetof(QuorvaleDiscoverySegment, writeIndex) == 460, "64-bit layout");
static_assert(sizeof(QuorvaleDiscoverySegment) == 464, "64-bit layout");
#else
#error "no discovery segment layout for this architecture"
#endif

constexpr const char kDiscoverySegmentName[] = QUORVALE_DISCOVERY_SEGMENT_NAME;
constexpr size_t kDiscoverySegmentSize = sizeof(QuorvaleDiscoverySegment);

class QuorvaleDeviceDiscoveryNotifier {
public:
    enum : uint32_t { kIdle = 0, kListening = 1, kCancelling = 2 };

    QuorvaleDeviceDiscoveryNotifier() = default;
    ~QuorvaleDeviceDiscoveryNotifier();
    QuorvaleDeviceDiscoveryNotifier(const QuorvaleDeviceDiscoveryNotifier&) = delete;
    QuorvaleDeviceDiscoveryNotifier& operator=(const QuorvaleDeviceDiscoveryNotifier&) = delete;

    bool connect();
    void disconnect();
    int lock();
    int unlock();
    bool notify(const QuorvaleDeviceNode* node, bool arrived);
    bool waitForNotifications(IQuorvaleDeviceDiscoveryNotifierDelegate* newDelegate);
    void cancelWaitForNotifications();

    // How long connect() waits for the creator of the channel before it
    // fails. Tests shorten it.
    static unsigned joinPatienceMilliseconds;

    // How long cancelWaitForNotifications() waits for a cancelled listener
    // that cannot take the mutex back before it leaves the thread behind.
    static unsigned cancelPatienceMilliseconds;

    // The listener thread's two passes, with the mutex held: every present
    // device as an arrival, then (after each wake-up) the events posted since
    // the last one. Tests drive them directly.
    void replayPresentDevices();
    void deliverNewEvents();

    // Plain fields in this order; white-box tests read them.
    pthread_t thread{};
    uint32_t waitState = kIdle;
    QuorvaleDiscoverySegment* shared = nullptr;
    int shmFd = -1;
    int readIndex = -1;
    IQuorvaleDeviceDiscoveryNotifierDelegate* delegate = nullptr;

private:
    struct ListenerRun;

    bool create();
    bool join();
    bool recordPresentDevices();
    void listen(ListenerRun* run);
    bool lockForListening(const ListenerRun* listenerRun);
    bool joinListener();
    void callNotification(const QuorvaleDeviceNode& node, bool arrived);
    static void* threadEntry(void* run);
    static void endListening(void* run);

    // The running listener's share with whoever stops it.
    ListenerRun* run = nullptr;
    // A listener left behind still waits on the mutex inside the mapping,
    // so the mapping stays for the life of the process.
    bool mappingLent = false;
};

#endif
