// A legacy transport that records every request at the one primitive all
// typed operations funnel into, and answers like a driver: a status, then up
// to the offered capacities from scripted scalars and structure bytes.
#ifndef MAINTENANCE_RECORDING_TRANSPORT_H
#define MAINTENANCE_RECORDING_TRANSPORT_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "IoctlMessageUser.h"
#include "QuorvaleInstanceRec.h"

namespace maintenance_test {

struct RecordedRequest {
    int request;
    std::vector<uint64_t> scalarsIn;
    std::vector<uint8_t> structIn;
    uint32_t scalarOutCount;
    uint32_t structOutSize;
};

class RecordingTransport : public IoctlMessageUser {
public:
    RecordingTransport() : IoctlMessageUser(-1) {}

    using IoctlMessageUser::call;
    int call(int req, IoctlArguments* args) override
    {
        RecordedRequest r{req,
                          std::vector<uint64_t>(args->scalarInput, args->scalarInput + args->scalarInputCount),
                          {},
                          args->scalarOutputCount,
                          args->structOutputSize};
        const auto* in = static_cast<const uint8_t*>(args->structInput);
        r.structIn.assign(in, in + args->structInputSize);
        requests.push_back(r);
        if (status != 0)
            return status;
        const uint32_t scalars = std::min<uint32_t>(args->scalarOutputCount, static_cast<uint32_t>(replyScalars.size()));
        std::copy_n(replyScalars.begin(), scalars, args->scalarOutput);
        args->scalarOutputCount = scalars;
        const uint32_t bytes = std::min<uint32_t>(args->structOutputSize, static_cast<uint32_t>(replyStruct.size()));
        if (bytes != 0)
            std::memcpy(args->structOutput, replyStruct.data(), bytes);
        args->structOutputSize = bytes;
        return 0;
    }

    int status = 0;
    std::vector<uint64_t> replyScalars;
    std::vector<uint8_t> replyStruct;
    std::vector<RecordedRequest> requests;
};

// An open-device record around a transport, as the open path would build it.
inline QuorvaleInstanceRec recordFor(IoctlMessageUser* transport, int fd = -1)
{
    QuorvaleInstanceRec rec{};
    rec.fd = fd;
    rec.transport = transport;
    rec.interfaceType = transport != nullptr ? static_cast<uint32_t>(transport->interfaceType()) : 0;
    return rec;
}

}  // namespace maintenance_test

#endif
