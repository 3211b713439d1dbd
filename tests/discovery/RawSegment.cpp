#include "RawSegment.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace discoverytest {

const SegmentLayout& expectedLayout()
{
#if defined(__i386__)
    static const SegmentLayout layout{0, 4, 28, 76, 100, 440, 444, "/com_vantorixlabs_QuorvaleDiscoveryNotifier"};
#else
    static const SegmentLayout layout{0, 8, 48, 96, 120, 460, 464,
                                      "/com_vantorixlabs_QuorvaleDiscoveryNotifier_x86_64"};
#endif
    return layout;
}

void removeSegment()
{
    shm_unlink(expectedLayout().name);
}

bool segmentExists()
{
    const int fd = shm_open(expectedLayout().name, O_RDONLY, 0);
    if (fd == -1)
        return false;
    close(fd);
    return true;
}

RawSegment::RawSegment()
{
    m_fd = shm_open(expectedLayout().name, O_RDWR, 0);
    if (m_fd == -1)
        return;
    void* mapping = mmap(nullptr, expectedLayout().size, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
    if (mapping != MAP_FAILED)
        m_bytes = static_cast<uint8_t*>(mapping);
}

RawSegment::~RawSegment()
{
    if (m_bytes != nullptr)
        munmap(m_bytes, expectedLayout().size);
    if (m_fd != -1)
        close(m_fd);
}

uint8_t RawSegment::byte(size_t offset) const
{
    return __atomic_load_n(m_bytes + offset, __ATOMIC_SEQ_CST);
}

void RawSegment::setByte(size_t offset, uint8_t value)
{
    __atomic_store_n(m_bytes + offset, value, __ATOMIC_SEQ_CST);
}

uint32_t RawSegment::u32(size_t offset) const
{
    uint32_t value = 0;
    for (size_t i = 0; i < 4; ++i)
        value |= uint32_t(byte(offset + i)) << (8 * i);
    return value;
}

void RawSegment::setU32(size_t offset, uint32_t value)
{
    for (size_t i = 0; i < 4; ++i)
        setByte(offset + i, uint8_t(value >> (8 * i)));
}

uint64_t RawSegment::u64(size_t offset) const
{
    return uint64_t(u32(offset)) | (uint64_t(u32(offset + 4)) << 32);
}

std::vector<uint8_t> RawSegment::bytes(size_t offset, size_t count) const
{
    std::vector<uint8_t> result;
    for (size_t i = 0; i < count; ++i)
        result.push_back(byte(offset + i));
    return result;
}

std::string RawSegment::eventPrefix(int slot) const
{
    const size_t start = expectedLayout().events + kEventSize * size_t(slot) + 1;
    std::string prefix;
    for (size_t i = 0; i < kPrefixSize && byte(start + i) != 0; ++i)
        prefix += char(byte(start + i));
    return prefix;
}

uint8_t RawSegment::eventUnit(int slot) const
{
    return byte(expectedLayout().events + kEventSize * size_t(slot) + 16);
}

uint8_t RawSegment::eventFlags(int slot) const
{
    return byte(expectedLayout().events + kEventSize * size_t(slot));
}

off_t RawSegment::fileSize() const
{
    struct stat status;
    return fstat(m_fd, &status) == 0 ? status.st_size : -1;
}

unsigned RawSegment::fileMode() const
{
    struct stat status;
    return fstat(m_fd, &status) == 0 ? unsigned(status.st_mode & 07777) : 0;
}

pthread_mutex_t* RawSegment::mutex() const
{
    return reinterpret_cast<pthread_mutex_t*>(m_bytes + expectedLayout().mutex);
}

pthread_cond_t* RawSegment::condition() const
{
    return reinterpret_cast<pthread_cond_t*>(m_bytes + expectedLayout().condition);
}

}  // namespace discoverytest
