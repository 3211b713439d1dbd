// The updater's status answer, read as checkDevice (one record) and
// checkDevices (one record per line) read it.
#include <cstddef>
#include <cstdint>

#include "UpdaterOutput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray output(reinterpret_cast<const char*>(data), int(size));
    Device device;
    updateroutput::readStatusRecord(output, device);
    QList<Device> devices;
    updateroutput::readStatusList(output, devices);
    return 0;
}
