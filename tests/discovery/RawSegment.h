// The discovery channel's shared object seen from outside the notifier: its
// layout written out independently, and a raw mapping of it. Used by the
// channel's tests and by the hostile processes of the end-to-end tests.
#ifndef DISCOVERY_RAW_SEGMENT_H
#define DISCOVERY_RAW_SEGMENT_H

#include <pthread.h>
#include <sys/types.h>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace discoverytest {

// Where the fields lie in the object this build shares, written out by hand
// so that the tests do not take them from the code under test.
struct SegmentLayout {
    size_t initState, mutex, condition, presence, events, writeIndex, size;
    const char* name;
};
const SegmentLayout& expectedLayout();

constexpr size_t kEventSize = 17;
constexpr int kRingSlots = 20;
constexpr size_t kPrefixSize = 15;

void removeSegment();
bool segmentExists();

// The shared object mapped independently of the notifier.
class RawSegment {
public:
    RawSegment();  // maps the existing object; ok() tells whether it could
    ~RawSegment();
    RawSegment(const RawSegment&) = delete;
    RawSegment& operator=(const RawSegment&) = delete;

    bool ok() const { return m_bytes != nullptr; }
    uint8_t byte(size_t offset) const;
    void setByte(size_t offset, uint8_t value);
    uint32_t u32(size_t offset) const;
    void setU32(size_t offset, uint32_t value);
    uint64_t u64(size_t offset) const;
    std::vector<uint8_t> bytes(size_t offset, size_t count) const;
    uint64_t mask(int index) const { return u64(expectedLayout().presence + 8 * size_t(index)); }
    std::string eventPrefix(int slot) const;
    uint8_t eventUnit(int slot) const;
    uint8_t eventFlags(int slot) const;
    off_t fileSize() const;
    unsigned fileMode() const;

    // The channel's own synchronisation objects, for a process that uses
    // them as the family does.
    pthread_mutex_t* mutex() const;
    pthread_cond_t* condition() const;

private:
    int m_fd = -1;
    uint8_t* m_bytes = nullptr;
};

}  // namespace discoverytest

#endif
