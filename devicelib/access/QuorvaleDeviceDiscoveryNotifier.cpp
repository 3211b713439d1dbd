#include "QuorvaleDeviceDiscoveryNotifier.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

#include "QuorvaleAccess.h"

namespace {

const mode_t kSegmentMode = 0666;

// Bit n = driver-name index * 64 + unit. A unit of 64 or more runs into the
// next driver's mask (and past the last mask into the ring); units are small
// in practice and every process of the family computes it the same way.
struct PresenceBit {
    size_t byteOffset;
    uint64_t mask;
};

PresenceBit presenceBitOf(int driverIndex, unsigned unit)
{
    const unsigned bit = unsigned(driverIndex) * kDiscoveryUnitsPerMask + unit;
    return {offsetof(QuorvaleDiscoverySegment, presence) + sizeof(uint64_t) * (bit / kDiscoveryUnitsPerMask),
            uint64_t(1) << (bit % kDiscoveryUnitsPerMask)};
}

uint64_t readMask(const QuorvaleDiscoverySegment* segment, size_t byteOffset)
{
    uint64_t value;
    memcpy(&value, reinterpret_cast<const char*>(segment) + byteOffset, sizeof value);
    return value;
}

void writeMask(QuorvaleDiscoverySegment* segment, size_t byteOffset, uint64_t value)
{
    memcpy(reinterpret_cast<char*>(segment) + byteOffset, &value, sizeof value);
}

uint32_t loadInitState(const QuorvaleDiscoverySegment* segment)
{
    return __atomic_load_n(&segment->initState, __ATOMIC_ACQUIRE);
}

void storeInitState(QuorvaleDiscoverySegment* segment, uint32_t state)
{
    __atomic_store_n(&segment->initState, state, __ATOMIC_RELEASE);
}

// The result is compared with null only: a failed mapping (MAP_FAILED) is
// taken for a mapping, as every process of the family does.
QuorvaleDiscoverySegment* mapSegment(int fd)
{
    return static_cast<QuorvaleDiscoverySegment*>(
        mmap(nullptr, kDiscoverySegmentSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
}

// Restores the cancellation state it saved, however the scope is left.
class CancellationDisabled {
public:
    CancellationDisabled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_saved); }
    ~CancellationDisabled() { pthread_setcancelstate(m_saved, nullptr); }
    CancellationDisabled(const CancellationDisabled&) = delete;
    CancellationDisabled& operator=(const CancellationDisabled&) = delete;

private:
    int m_saved = PTHREAD_CANCEL_ENABLE;
};

}  // namespace

QuorvaleDeviceDiscoveryNotifier::~QuorvaleDeviceDiscoveryNotifier()
{
    if (shared != nullptr)
        disconnect();
}

bool QuorvaleDeviceDiscoveryNotifier::connect()
{
    if (shmFd != -1 || shared != nullptr)
        return false;

    shmFd = shm_open(kDiscoverySegmentName, O_RDWR | O_CREAT | O_EXCL, kSegmentMode);
    if (shmFd != -1)
        return create();
    if (errno == EEXIST)
        return join();
    disconnect();
    return false;
}

bool QuorvaleDeviceDiscoveryNotifier::create()
{
    if (ftruncate(shmFd, off_t(kDiscoverySegmentSize)) != 0 || (shared = mapSegment(shmFd)) == nullptr
        || fchmod(shmFd, kSegmentMode) != 0) {
        disconnect();
        shm_unlink(kDiscoverySegmentName);
        return false;
    }

    pthread_mutexattr_t mutexAttributes;
    pthread_mutexattr_init(&mutexAttributes);
    pthread_mutexattr_setpshared(&mutexAttributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&mutexAttributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&shared->mutex, &mutexAttributes);
    pthread_mutexattr_destroy(&mutexAttributes);

    pthread_condattr_t conditionAttributes;
    pthread_condattr_init(&conditionAttributes);
    pthread_condattr_setpshared(&conditionAttributes, PTHREAD_PROCESS_SHARED);
    pthread_cond_init(&shared->condition, &conditionAttributes);
    pthread_condattr_destroy(&conditionAttributes);

    shared->writeIndex = 0;

    lock();
    storeInitState(shared, kDiscoverySegmentInitialising);
    if (!recordPresentDevices()) {
        // Left locked and initialising, as every process of the family
        // leaves it: joiners that already mapped the object wait on the lock
        // until this thread ends, then take it over and see the failure.
        disconnect();
        shm_unlink(kDiscoverySegmentName);
        return false;
    }
    storeInitState(shared, kDiscoverySegmentReady);
    unlock();
    return true;
}

bool QuorvaleDeviceDiscoveryNotifier::recordPresentDevices()
{
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    if (iterator == nullptr)
        return false;

    QuorvaleInstanceRec* device = nullptr;
    while (ConnectToDriverCore(&device, iterator)) {
        QuorvaleDeviceNode node;
        node.fromInstance(device);
        const int driverIndex = node.driverNameIndex();
        if (driverIndex >= 0) {
            const PresenceBit bit = presenceBitOf(driverIndex, node.unitNumber);
            writeMask(shared, bit.byteOffset, readMask(shared, bit.byteOffset) | bit.mask);
        }
        CloseDriverConnectionCore(device);
    }
    ReleaseQuorvaleIterator(iterator);
    return true;
}

bool QuorvaleDeviceDiscoveryNotifier::join()
{
    shmFd = shm_open(kDiscoverySegmentName, O_RDWR, 0);
    if (shmFd == -1 || (shared = mapSegment(shmFd)) == nullptr) {
        disconnect();
        return false;
    }

    // The creator may not have sized the object yet; until it has, the
    // segment counts as fresh (touching it would fault).
    struct stat status;
    while (fstat(shmFd, &status) == 0 && size_t(status.st_size) < kDiscoverySegmentSize)
        sched_yield();
    while (loadInitState(shared) == kDiscoverySegmentFresh)
        sched_yield();

    // Waits for a creator still initialising, and takes over the lock of one
    // that died doing so.
    lock();
    unlock();
    if (loadInitState(shared) != kDiscoverySegmentInitialising)
        return true;
    disconnect();
    return false;
}

void QuorvaleDeviceDiscoveryNotifier::disconnect()
{
    if (delegate != nullptr)
        cancelWaitForNotifications();
    if (shared != nullptr) {
        munmap(shared, kDiscoverySegmentSize);
        shared = nullptr;
    }
    if (shmFd != -1) {
        close(shmFd);
        shmFd = -1;
    }
}

int QuorvaleDeviceDiscoveryNotifier::lock()
{
    const int result = pthread_mutex_lock(&shared->mutex);
    if (result == EOWNERDEAD)
        return pthread_mutex_consistent(&shared->mutex);
    return result;
}

int QuorvaleDeviceDiscoveryNotifier::unlock()
{
    return pthread_mutex_unlock(&shared->mutex);
}

bool QuorvaleDeviceDiscoveryNotifier::notify(const QuorvaleDeviceNode* node, bool arrived)
{
    if (shared == nullptr)
        return false;

    QuorvaleDeviceNode posted;
    posted = *node;
    const uint8_t arrivalFlag = arrived ? kDiscoveryEventArrived : 0;
    lock();

    // A prefix outside the table has no bit and always counts as absent.
    const int driverIndex = posted.driverNameIndex();
    if (driverIndex >= 0) {
        const PresenceBit bit = presenceBitOf(driverIndex, posted.unitNumber);
        const uint64_t mask = readMask(shared, bit.byteOffset);
        if (((mask & bit.mask) != 0) == arrived) {
            unlock();
            return true;
        }
        writeMask(shared, bit.byteOffset, mask ^ bit.mask);
    } else if (!arrived) {
        unlock();
        return true;
    }

    QuorvaleDiscoveryEventRec& event = shared->events[shared->writeIndex];
    event.flags = uint8_t((event.flags & ~kDiscoveryEventArrived) | arrivalFlag);
    event.node = posted;
    if (++shared->writeIndex >= kDiscoveryRingSize)
        shared->writeIndex = 0;

    pthread_cond_broadcast(&shared->condition);
    unlock();
    return true;
}

bool QuorvaleDeviceDiscoveryNotifier::waitForNotifications(IQuorvaleDeviceDiscoveryNotifierDelegate* newDelegate)
{
    if (shared == nullptr || newDelegate == nullptr || waitState != kIdle)
        return false;
    waitState = kListening;
    delegate = newDelegate;
    if (pthread_create(&thread, nullptr, threadEntry, this) == 0)
        return true;
    // Listening stays recorded; a null thread tells the later cancellation
    // that there is nothing to cancel or join.
    thread = pthread_t();
    return false;
}

void QuorvaleDeviceDiscoveryNotifier::cancelWaitForNotifications()
{
    if (delegate == nullptr || waitState != kListening)
        return;
    waitState = kCancelling;
    if (thread != pthread_t()) {
        pthread_cancel(thread);
        pthread_join(thread, nullptr);
        thread = pthread_t();
    }
    delegate = nullptr;
    waitState = kIdle;
}

void* QuorvaleDeviceDiscoveryNotifier::threadEntry(void* notifier)
{
    static_cast<QuorvaleDeviceDiscoveryNotifier*>(notifier)->listen();
    return nullptr;
}

void QuorvaleDeviceDiscoveryNotifier::unlockOnCancel(void* notifier)
{
    static_cast<QuorvaleDeviceDiscoveryNotifier*>(notifier)->unlock();
}

void QuorvaleDeviceDiscoveryNotifier::listen()
{
    int savedCancelState = PTHREAD_CANCEL_ENABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &savedCancelState);
    lock();

    // A new listener first hears of every device already present.
    for (int bit = 0; bit < kDiscoveryPresenceBits; ++bit) {
        const PresenceBit presence = presenceBitOf(bit / kDiscoveryUnitsPerMask, unsigned(bit % kDiscoveryUnitsPerMask));
        if ((readMask(shared, presence.byteOffset) & presence.mask) == 0)
            continue;
        QuorvaleDeviceNode node{};
        strncpy(node.namePrefix, QuorvaleDeviceNode::driverNameByIndex(bit / kDiscoveryUnitsPerMask),
                sizeof node.namePrefix - 1);
        node.unitNumber = uint8_t(bit % kDiscoveryUnitsPerMask);
        callNotification(node, true);
    }
    readIndex = shared->writeIndex;

    pthread_setcancelstate(savedCancelState, nullptr);
    // Cancellation can only strike inside the condition wait, which returns
    // with the mutex re-acquired: the handler gives it back.
    pthread_cleanup_push(unlockOnCancel, this);
    for (;;) {
        // A poster that died holding the mutex hands it over here too.
        if (pthread_cond_wait(&shared->condition, &shared->mutex) == EOWNERDEAD)
            pthread_mutex_consistent(&shared->mutex);
        while (readIndex != shared->writeIndex) {
            const QuorvaleDiscoveryEventRec& event = shared->events[readIndex];
            QuorvaleDeviceNode node;
            node = event.node;
            callNotification(node, (event.flags & kDiscoveryEventArrived) != 0);
            if (++readIndex >= kDiscoveryRingSize)
                readIndex = 0;
        }
    }
    pthread_cleanup_pop(1);
}

void QuorvaleDeviceDiscoveryNotifier::callNotification(const QuorvaleDeviceNode& node, bool arrived)
{
    CancellationDisabled noCancellation;
    QuorvaleInstanceRec* device = QuorvaleOpenDevice(&node);
    if (device != nullptr)
        delegate->ProcessNotification(device, arrived);
}
