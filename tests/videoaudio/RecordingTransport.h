// A transport without a device: it records every request and answers like
// the legacy driver would (at most what was offered), from a script.
#ifndef VIDEOAUDIO_RECORDING_TRANSPORT_H
#define VIDEOAUDIO_RECORDING_TRANSPORT_H

#include <algorithm>
#include <cstring>
#include <map>
#include <vector>

#include "IoctlMessageUser.h"
#include "QuorvaleInstanceRec.h"
#include "TableRunner.h"

namespace videoaudio {

class RecordingTransport : public IoctlMessageUser {
public:
    struct Reply {
        bool fail = false;
        std::vector<uint64_t> scalars;
        std::vector<uint8_t> structure;
    };

    RecordingTransport() : IoctlMessageUser(-1) {}

    using IoctlMessageUser::call;
    int call(int req, IoctlArguments* args) override
    {
        Seen s;
        s.request = req;
        s.scalarInputCount = args->scalarInputCount;
        s.structInputSize = args->structInputSize;
        s.scalarOutputCount = args->scalarOutputCount;
        s.structOutputSize = args->structOutputSize;
        s.scalarInputs.assign(args->scalarInput, args->scalarInput + args->scalarInputCount);
        const auto* in = static_cast<const uint8_t*>(args->structInput);
        s.structInput.assign(in, in + args->structInputSize);
        seen.push_back(s);

        const Reply reply = replies.count(req) != 0 ? replies[req] : Reply{};
        if (reply.fail)
            return -1;
        const uint32_t count = std::min<uint32_t>(uint32_t(reply.scalars.size()), args->scalarOutputCount);
        std::copy_n(reply.scalars.begin(), count, args->scalarOutput);
        args->scalarOutputCount = count;
        const uint32_t size = std::min<uint32_t>(uint32_t(reply.structure.size()), args->structOutputSize);
        if (size != 0)
            std::memcpy(args->structOutput, reply.structure.data(), size);
        args->structOutputSize = size;
        return 0;
    }

    std::map<int, Reply> replies;
    std::vector<Seen> seen;
};

// The legacy generation without a device, for the table.
class RecordingDriver : public Driver {
public:
    RecordingDriver()
    {
        record.fd = -1;
        record.transport = &transport;
    }
    QuorvaleInstanceRec* rec() override { return &record; }
    bool newer() const override { return false; }
    void answer(const CallRow& row, bool fail) override
    {
        transport.replies[row.legacy] = {fail, row.replyScalars, row.replyStruct};
    }
    std::vector<Seen> take() override
    {
        std::vector<Seen> out;
        out.swap(transport.seen);
        return out;
    }

    RecordingTransport transport;
    QuorvaleInstanceRec record{};
};

}  // namespace videoaudio

#endif
