// Enumeration of /dev/vantorix and the iterator over the result.
#include "QuorvaleIterator.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <new>

#include "IoctlMessageUser.h"
#include "QuorvaleAccess.h"
#include "QuorvaleInformation.h"
#include "QuorvaleInstanceRec.h"

namespace {

const char kDeviceDirectory[] = "/dev/vantorix";
const unsigned kDriverMajor = 10;

// Opens the node just long enough to ask for its structure version and its
// place among the sub-devices of its card.
bool probe(const QuorvaleDeviceNode& node, const char* path, EnumeratedDeviceListElmt& element)
{
    const int fd = quorvale::openDriverNode(path);
    if (fd == -1)
        return false;
    const char* driverName = node.driverName();
    std::unique_ptr<IoctlMessageUser> transport(
        driverName ? IoctlMessageUser::createForDriver(fd, driverName) : nullptr);
    bool usable = false;
    if (transport) {
        // A record holding nothing but the transport is all the calls need.
        QuorvaleInstanceRec probeRecord{};
        probeRecord.transport = transport.get();
        uint32_t version = 0;
        GetDriverSharedDataStructureVersion(&probeRecord, &version);
        usable = version == kSharedDataVersion &&
                 GetSubDeviceInfo(&probeRecord, &element.subDeviceIndex, &element.subDeviceCount,
                                  &element.parentDeviceId) == 0;
    }
    close(fd);
    element.node = node;
    return usable;
}

void scan(std::list<EnumeratedDeviceListElmt>& list)
{
    DIR* directory = opendir(kDeviceDirectory);
    if (directory == nullptr)
        return;
    while (const dirent* entry = readdir(directory)) {
        char path[64];
        if (snprintf(path, sizeof path, "/dev/vantorix/%s", entry->d_name) < 1)
            continue;
        struct stat status;
        if (stat(path, &status) != 0 || !quorvale::isDriverNode(status))
            continue;
        QuorvaleDeviceNode node{};
        char rebuilt[64];
        if (!node.fromPath(path) || !node.toPath(rebuilt))
            continue;
        EnumeratedDeviceListElmt element{};
        if (probe(node, rebuilt, element))
            list.push_back(element);
    }
    closedir(directory);
}

}  // namespace

namespace quorvale {

bool isDriverNode(const struct stat& status)
{
    return S_ISCHR(status.st_mode) && major(status.st_rdev) == kDriverMajor;
}

int openDriverNode(const char* path)
{
    struct stat status;
    if (stat(path, &status) != 0 || !isDriverNode(status))
        return -1;
    // Opened without blocking, in case the entry was replaced since it was
    // looked at, then handed on as an ordinary blocking descriptor.
    const int fd = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (fd == -1)
        return -1;
    const int flags = fcntl(fd, F_GETFL);
    if (flags == -1 || fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

void orderEnumeratedDevices(std::list<EnumeratedDeviceListElmt>& list,
                            std::deque<QuorvaleDeviceNode>& nodes)
{
    // std::list::sort is a stable merge sort.
    list.sort([](const EnumeratedDeviceListElmt& a, const EnumeratedDeviceListElmt& b) {
        return a.node < b.node;
    });
    while (!list.empty()) {
        const EnumeratedDeviceListElmt& head = list.front();
        // Re-read from memory on every pass: a head that is never consumed
        // keeps the pass going, and it must really keep going.
        const uint32_t count = *static_cast<const volatile uint32_t*>(&head.subDeviceCount);
        if (count == 1) {
            nodes.push_back(head.node);
            list.pop_front();
        } else if (count > 1) {
            const uint32_t parent = head.parentDeviceId;
            for (uint32_t k = 0; k < count; ++k) {
                for (auto it = list.begin(); it != list.end(); ++it) {
                    if (it->parentDeviceId == parent && it->subDeviceIndex == k) {
                        nodes.push_back(it->node);
                        list.erase(it);
                        break;
                    }
                }
            }
        }
    }
}

}  // namespace quorvale

extern "C" {

QuorvaleIteratorRec* CreateQuorvaleIterator(void)
{
    QuorvaleIteratorRec* iterator = new (std::nothrow) QuorvaleIteratorRec();
    if (iterator == nullptr)
        return nullptr;
    iterator->nextIndex = 0;
    std::list<EnumeratedDeviceListElmt> list;
    scan(list);
    quorvale::orderEnumeratedDevices(list, iterator->nodes);
    return iterator;
}

QuorvaleInstanceRec* QuorvaleIteratorNext(QuorvaleIteratorRec* iterator)
{
    if (iterator == nullptr || iterator->nextIndex >= iterator->nodes.size())
        return nullptr;
    QuorvaleInstanceRec* rec = QuorvaleOpenDevice(&iterator->nodes[iterator->nextIndex]);
    // A node that fails to open is tried again by the next call.
    if (rec != nullptr)
        ++iterator->nextIndex;
    return rec;
}

QuorvaleIteratorRec* ResetQuorvaleIterator(QuorvaleIteratorRec* iterator)
{
    if (iterator != nullptr)
        iterator->nextIndex = 0;
    return iterator;
}

void ReleaseQuorvaleIterator(QuorvaleIteratorRec* iterator) { delete iterator; }

bool ConnectToDriverCore(QuorvaleInstanceRec** out, QuorvaleIteratorRec* iterator)
{
    *out = nullptr;
    if (iterator != nullptr) {
        *out = QuorvaleIteratorNext(iterator);
    } else {
        QuorvaleIteratorRec* temporary = CreateQuorvaleIterator();
        *out = QuorvaleIteratorNext(temporary);
        ReleaseQuorvaleIterator(temporary);
    }
    return *out != nullptr;
}

bool ConnectToNextQuorvale(QuorvaleInstanceRec** out, uint32_t position)
{
    *out = nullptr;
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    if (iterator == nullptr)
        return false;
    for (uint32_t skipped = 1; skipped < position; ++skipped) {
        QuorvaleInstanceRec* before = QuorvaleIteratorNext(iterator);
        if (before == nullptr) {
            ReleaseQuorvaleIterator(iterator);
            return false;
        }
        CloseDriverConnectionCore(before);
    }
    *out = QuorvaleIteratorNext(iterator);
    ReleaseQuorvaleIterator(iterator);
    return *out != nullptr;
}

}  // extern "C"
