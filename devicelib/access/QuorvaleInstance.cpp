// Opening and closing one device.
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "IoctlMessageUser.h"
#include "QuorvaleAccess.h"
#include "QuorvaleDeviceNode.h"
#include "QuorvaleInformation.h"
#include "QuorvaleInstanceRec.h"
#include "QuorvaleIterator.h"

namespace {
const unsigned kSharedDataPage = 2;
}  // namespace

extern "C" {

QuorvaleInstanceRec* QuorvaleOpenDevice(const QuorvaleDeviceNode* node)
{
    QuorvaleInstanceRec* rec = static_cast<QuorvaleInstanceRec*>(malloc(sizeof(QuorvaleInstanceRec)));
    if (rec == nullptr)
        return nullptr;
    memset(static_cast<void*>(rec), 0, sizeof *rec);
    // Teardown closes `fd`; until the open succeeds it must not name stdin.
    rec->fd = -1;

    // Every event of the shared discovery channel ends here, and anyone can
    // write one: only a node of a known prefix (so a name in the device
    // directory) that is the driver's character device is opened.
    char path[64];
    if (!node->hasTerminatedPrefix() || node->driverName() == nullptr || !node->toPath(path)) {
        CloseDriverConnectionCore(rec);
        return nullptr;
    }
    rec->fd = quorvale::openDriverNode(path);
    if (rec->fd == -1) {
        CloseDriverConnectionCore(rec);
        return nullptr;
    }
    rec->unitNumber = node->unitNumber;
    rec->driverName = node->driverName();
    rec->transport =
        rec->driverName ? IoctlMessageUser::createForDriver(rec->fd, rec->driverName) : nullptr;
    if (rec->transport == nullptr) {
        CloseDriverConnectionCore(rec);
        return nullptr;
    }
    rec->interfaceType = uint32_t(rec->transport->interfaceType());

    // The shared-data area starts with the structure version; a driver that
    // cannot be mapped is asked instead.
    uint32_t version = 0;
    if (MapDeviceMemoryCore(rec))
        version = rec->sharedData[0];
    else
        GetDriverSharedDataStructureVersion(rec, &version);

    if (version != kSharedDataVersion || GetHardwareDescription(rec, rec->hardwareDescription) != 0 ||
        pthread_mutex_init(&rec->lock, nullptr) != 0) {
        CloseDriverConnectionCore(rec);
        return nullptr;
    }
    rec->mutexInitialised = 1;
    rec->stateA = 1023;
    rec->stateB = 0;
    rec->stateC = 0;
    return rec;
}

void CloseDriverConnectionCore(QuorvaleInstanceRec* rec)
{
    if (rec == nullptr)
        return;
    // Unmapping a null area fails harmlessly; that is simpler than a test.
    munmap(const_cast<uint32_t*>(rec->sharedData), kSharedDataSize);
    rec->sharedData = nullptr;
    close(rec->fd);
    if (rec->mutexInitialised) {
        pthread_mutex_destroy(&rec->lock);
        rec->mutexInitialised = 0;
    }
    delete rec->transport;
    free(rec);
}

bool MapDeviceMemoryCore(QuorvaleInstanceRec* rec)
{
    rec->sharedData = static_cast<const volatile uint32_t*>(
        rec->transport->mapMemory(kSharedDataPage, kSharedDataSize, false));
    return rec->sharedData != nullptr;
}

bool GetDevicePath(QuorvaleInstanceRec* rec, char* buffer)
{
    QuorvaleDeviceNode node{};
    if (!node.fromInstance(rec))
        return false;
    return node.toPath(buffer);
}

int GetDriverFileDescriptor(QuorvaleInstanceRec* rec) { return rec->fd; }

const char* GetDriverName(QuorvaleInstanceRec* rec) { return rec->driverName; }

}  // extern "C"
