#include "QuorvaleDeviceDiscoveryNotifier.h"

#include <fcntl.h>
#include <time.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <algorithm>
#include <atomic>
#include <new>
#include <cstring>

#include "QuorvaleAccess.h"

namespace {

const mode_t kSegmentMode = 0666;

// Bit n = driver-name index * 64 + unit. A unit of 64 or more runs into the
// next driver's mask, as every process of the family computes it; a bit
// number past the three masks (io64, card128, dv192 and up) has no bit at
// all: it would lie in the event ring.
struct PresenceBit {
    bool exists;
    size_t byteOffset;
    uint64_t mask;
};

PresenceBit presenceBitOf(int driverIndex, unsigned unit)
{
    const unsigned bit = unsigned(driverIndex) * kDiscoveryUnitsPerMask + unit;
    if (driverIndex < 0 || bit >= unsigned(kDiscoveryPresenceBits))
        return {false, 0, 0};
    return {true, offsetof(QuorvaleDiscoverySegment, presence) + sizeof(uint64_t) * (bit / kDiscoveryUnitsPerMask),
            uint64_t(1) << (bit % kDiscoveryUnitsPerMask)};
}

PresenceBit presenceBitOf(const QuorvaleDeviceNode& node)
{
    return presenceBitOf(node.driverNameIndex(), node.unitNumber);
}

// Anyone may write any bytes into the segment: indexes read from it are
// used only once checked, and each one is read once.
int32_t loadWriteIndex(const QuorvaleDiscoverySegment* segment)
{
    return __atomic_load_n(&segment->writeIndex, __ATOMIC_RELAXED);
}

bool isRingSlot(int32_t index)
{
    return index >= 0 && index < kDiscoveryRingSize;
}

// One event as it is at this moment, copied out of the segment.
QuorvaleDiscoveryEventRec readEvent(const QuorvaleDiscoverySegment* segment, int slot)
{
    QuorvaleDiscoveryEventRec event;
    memcpy(static_cast<void*>(&event), &segment->events[slot], sizeof event);
    return event;
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

// How long a joiner waits for the creator, and how it paces its looks.
const unsigned kFirstJoinPauseMicroseconds = 1000;
const unsigned kLastJoinPauseMicroseconds = 50000;

class Deadline {
public:
    explicit Deadline(unsigned milliseconds)
    {
        clock_gettime(CLOCK_MONOTONIC, &m_at);
        m_at.tv_sec += time_t(milliseconds / 1000);
        m_at.tv_nsec += long(milliseconds % 1000) * 1000000L;
        if (m_at.tv_nsec >= 1000000000L) {
            m_at.tv_nsec -= 1000000000L;
            ++m_at.tv_sec;
        }
    }
    bool passed() const
    {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        return now.tv_sec > m_at.tv_sec || (now.tv_sec == m_at.tv_sec && now.tv_nsec >= m_at.tv_nsec);
    }
private:
    timespec m_at{};
};

// Takes the mutex, trying with growing pauses until the deadline; ETIMEDOUT
// once it has passed. Trying rather than a timed lock: the thread sanitizer
// follows trylock, a dead owner's mutex included, and not the timed forms.
int tryLockUntil(pthread_mutex_t* mutex, const Deadline& deadline)
{
    unsigned pauseMicroseconds = kFirstJoinPauseMicroseconds;
    for (;;) {
        const int result = pthread_mutex_trylock(mutex);
        if (result != EBUSY)
            return result;
        if (deadline.passed())
            return ETIMEDOUT;
        usleep(pauseMicroseconds);
        pauseMicroseconds = std::min(2 * pauseMicroseconds, kLastJoinPauseMicroseconds);
    }
}

}  // namespace

// What a listener thread shares with the thread that stops it. Once the
// listener waits in the condition, it touches nothing of the notifier again
// unless it wins the step from kWaiting to kDelivering; the stopper may take
// the step from kWaiting to kLeftBehind instead, after which the thread owns
// this record alone and frees it as it ends.
struct QuorvaleDeviceDiscoveryNotifier::ListenerRun {
    enum : int { kStarting, kWaiting, kDelivering, kEnded, kLeftBehind };

    QuorvaleDeviceDiscoveryNotifier* notifier;
    pthread_mutex_t* mutex = nullptr;
    std::atomic<int> phase{kStarting};
    // Set before the cancel: a listener that never got the mutex ends by
    // returning, where cancellation would unwind it.
    std::atomic<bool> stopping{false};
    int savedCancelState = PTHREAD_CANCEL_ENABLE;

    bool step(int from, int to)
    {
        return phase.compare_exchange_strong(from, to);
    }
};

// A cancelled listener retakes the mutex before it can end; a process that
// holds it for good would keep it, and whoever stops the listener, waiting
// forever. A poster holds the mutex for microseconds and a listener for the
// few opens of one wake-up's deliveries: one second is far beyond both, and
// leaves a program stopped by a signal most of its few seconds to end in.
unsigned QuorvaleDeviceDiscoveryNotifier::cancelPatienceMilliseconds = 1000;

// A creator enumerates every node of every card, opening each twice and
// asking a few questions of its driver each time; even a slow machine with
// many cards does that in a few seconds. Twenty seconds is well beyond it,
// and short enough that a program whose creator died is not held for long.
unsigned QuorvaleDeviceDiscoveryNotifier::joinPatienceMilliseconds = 20000;

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
        const PresenceBit bit = presenceBitOf(node);
        if (bit.exists)
            writeMask(shared, bit.byteOffset, readMask(shared, bit.byteOffset) | bit.mask);
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

    // The creator may not have sized the object yet (touching it would
    // fault), nor set initState; it may also have died before either. Wait
    // with growing pauses, and only as long as a slow creator's enumeration
    // can take.
    const Deadline deadline(joinPatienceMilliseconds);
    unsigned pauseMicroseconds = kFirstJoinPauseMicroseconds;
    struct stat status;
    for (;;) {
        if (fstat(shmFd, &status) != 0)
            break;
        if (size_t(status.st_size) >= kDiscoverySegmentSize && loadInitState(shared) != kDiscoverySegmentFresh)
            break;
        if (deadline.passed()) {
            disconnect();
            return false;
        }
        usleep(pauseMicroseconds);
        pauseMicroseconds = std::min(2 * pauseMicroseconds, kLastJoinPauseMicroseconds);
    }
    if (size_t(status.st_size) < kDiscoverySegmentSize) {
        disconnect();
        return false;
    }

    // Waits for a creator still initialising, and takes over the lock of one
    // that died doing so; a lock held longer than the wait allows counts as
    // a creator that never finished.
    const int locked = tryLockUntil(&shared->mutex, deadline);
    if (locked == EOWNERDEAD)
        pthread_mutex_consistent(&shared->mutex);
    else if (locked != 0) {
        disconnect();
        return false;
    }
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
        if (!mappingLent)
            munmap(shared, kDiscoverySegmentSize);
        shared = nullptr;
        mappingLent = false;
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

    // Fifteen prefix bytes without a NUL name no node: nothing to post.
    if (!node->hasTerminatedPrefix())
        return true;
    QuorvaleDeviceNode posted;
    posted = *node;
    const uint8_t arrivalFlag = arrived ? kDiscoveryEventArrived : 0;
    lock();

    // A prefix outside the table, or a unit past the masks, has no bit and
    // always counts as absent.
    const PresenceBit bit = presenceBitOf(posted);
    if (bit.exists) {
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

    // A write index outside the ring means the ring was damaged: posting
    // starts again at slot 0, where listeners that saw the damage wait.
    int32_t slot = loadWriteIndex(shared);
    if (!isRingSlot(slot))
        slot = 0;
    QuorvaleDiscoveryEventRec& event = shared->events[slot];
    event.flags = uint8_t((event.flags & ~kDiscoveryEventArrived) | arrivalFlag);
    event.node = posted;
    shared->writeIndex = slot + 1 >= kDiscoveryRingSize ? 0 : slot + 1;

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
    run = new (std::nothrow) ListenerRun{this};
    if (run != nullptr) {
        run->mutex = &shared->mutex;
        if (pthread_create(&thread, nullptr, threadEntry, run) == 0)
            return true;
        delete run;
        run = nullptr;
    }
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
        run->stopping = true;
        pthread_cancel(thread);
        if (joinListener())
            delete run;
        else
            mappingLent = true;
        run = nullptr;
        thread = pthread_t();
    }
    delegate = nullptr;
    waitState = kIdle;
}

// Joins the cancelled listener; true once it has ended. A listener that a
// stuck holder of the mutex keeps waiting in the condition is left behind
// after the patience runs out (false): it will touch only its run record and
// the mutex. One still delivering is waited for, as long as that takes.
bool QuorvaleDeviceDiscoveryNotifier::joinListener()
{
    const Deadline patience(cancelPatienceMilliseconds);
    unsigned pauseMicroseconds = 100;
    for (;;) {
        if (pthread_tryjoin_np(thread, nullptr) == 0)
            return true;
        if (patience.passed() && run->step(ListenerRun::kWaiting, ListenerRun::kLeftBehind)) {
            pthread_detach(thread);
            return false;
        }
        usleep(pauseMicroseconds);
        pauseMicroseconds = std::min(2 * pauseMicroseconds, kLastJoinPauseMicroseconds);
    }
}

void* QuorvaleDeviceDiscoveryNotifier::threadEntry(void* run)
{
    auto* listenerRun = static_cast<ListenerRun*>(run);
    listenerRun->notifier->listen(listenerRun);
    return nullptr;
}

// The cancellation clean-up handler: gives the mutex back. It takes the run
// record, not the notifier, which may be gone when a listener left behind
// finally gets the mutex.
void QuorvaleDeviceDiscoveryNotifier::endListening(void* run)
{
    auto* listenerRun = static_cast<ListenerRun*>(run);
    pthread_mutex_unlock(listenerRun->mutex);
    if (!listenerRun->step(ListenerRun::kWaiting, ListenerRun::kEnded))
        delete listenerRun;  // left behind: nobody else will
}

namespace {

int lockWithinASlice(pthread_mutex_t* mutex)
{
    return tryLockUntil(mutex, Deadline(100));
}

}  // namespace

// The first lock of a listener waits in slices and gives up between them
// once the listener is being stopped (false), so that a process holding the
// mutex for good cannot keep the listener from ending. The frames that
// cancellation unwinds keep no locals in memory: what they need lives in the
// run record.
bool QuorvaleDeviceDiscoveryNotifier::lockForListening(const ListenerRun* listenerRun)
{
    for (;;) {
        const int result = lockWithinASlice(&shared->mutex);
        if (result == EOWNERDEAD)
            pthread_mutex_consistent(&shared->mutex);
        if (result != ETIMEDOUT)
            return true;
        if (listenerRun->stopping)
            return false;
    }
}

void QuorvaleDeviceDiscoveryNotifier::listen(ListenerRun* listenerRun)
{
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &listenerRun->savedCancelState);
    if (!lockForListening(listenerRun))
        return;

    replayPresentDevices();
    readIndex = loadWriteIndex(shared);
    if (!isRingSlot(readIndex))
        readIndex = 0;

    pthread_setcancelstate(listenerRun->savedCancelState, nullptr);
    // Cancellation can only strike inside the condition wait, which returns
    // with the mutex re-acquired: the handler gives it back.
    pthread_cleanup_push(endListening, listenerRun);
    for (;;) {
        listenerRun->phase.store(ListenerRun::kWaiting);
        // A poster that died holding the mutex hands it over here too.
        const int woken = pthread_cond_wait(&shared->condition, &shared->mutex);
        if (!listenerRun->step(ListenerRun::kWaiting, ListenerRun::kDelivering))
            pthread_exit(nullptr);  // left behind: the notifier is no longer ours
        if (woken == EOWNERDEAD)
            pthread_mutex_consistent(&shared->mutex);
        deliverNewEvents();
    }
    pthread_cleanup_pop(1);
}

// A new listener first hears of every device already present.
void QuorvaleDeviceDiscoveryNotifier::replayPresentDevices()
{
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
}

// At most one lap of the ring per wake-up, up to the write index as it was
// on waking. A write index outside the ring is damage: nothing in the ring
// can be trusted, so nothing is delivered and reading goes on from slot 0,
// where the next poster starts again.
void QuorvaleDeviceDiscoveryNotifier::deliverNewEvents()
{
    const int32_t writeIndex = loadWriteIndex(shared);
    if (!isRingSlot(writeIndex)) {
        readIndex = 0;
        return;
    }
    // A listener that never took its place in the ring starts where the
    // ring stands.
    if (!isRingSlot(readIndex))
        readIndex = writeIndex;
    for (int delivered = 0; readIndex != writeIndex && delivered < kDiscoveryRingSize; ++delivered) {
        const QuorvaleDiscoveryEventRec event = readEvent(shared, readIndex);
        if (event.node.hasTerminatedPrefix()) {
            QuorvaleDeviceNode node;
            node = event.node;
            callNotification(node, (event.flags & kDiscoveryEventArrived) != 0);
        }
        if (++readIndex >= kDiscoveryRingSize)
            readIndex = 0;
    }
}

void QuorvaleDeviceDiscoveryNotifier::callNotification(const QuorvaleDeviceNode& node, bool arrived)
{
    CancellationDisabled noCancellation;
    QuorvaleInstanceRec* device = QuorvaleOpenDevice(&node);
    if (device != nullptr)
        delegate->ProcessNotification(device, arrived);
}
