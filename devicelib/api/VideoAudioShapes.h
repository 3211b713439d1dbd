// Shapes of the playback, capture and audio calls beyond those of
// CallShapes.h: bare requests, a flag query and fixed-size structures.
#ifndef QUORVALE_VIDEO_AUDIO_SHAPES_H
#define QUORVALE_VIDEO_AUDIO_SHAPES_H

#include <cstdint>

#include "CallShapes.h"
#include "VideoAudioRequests.h"

namespace quorvale {

// call(req): a request without arguments.
inline int bareRequest(QuorvaleInstanceRec* rec, int req)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.call(req); });
}

// writeScalarReadScalar(req, unsigned int, unsigned char*).
inline int queryFlag(QuorvaleInstanceRec* rec, int req, uint32_t in, uint8_t* out)
{
    return withTransport(rec, [&](IoctlMessageUser& t) {
        return t.writeScalarReadScalar(req, static_cast<unsigned int>(in), out);
    });
}

// writeStruct(req, record, sizeof record).
template <typename Record>
inline int writeRecord(QuorvaleInstanceRec* rec, int req, const Record& record)
{
    return withTransport(rec, [&](IoctlMessageUser& t) {
        return t.writeStruct(req, &record, sizeof record);
    });
}

// writeStruct(req, bytes, size): a record whose layout only the caller knows.
inline int writeBytes(QuorvaleInstanceRec* rec, int req, const void* bytes, uint32_t size)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.writeStruct(req, bytes, size); });
}

// writeStructReadStruct(req, in, sizeof in, local answer): the answer goes to
// the caller's pointer only on success, and not at all when it is null.
template <typename In, typename Out>
inline int exchangeRecords(QuorvaleInstanceRec* rec, int req, const In& in, Out* out)
{
    return withTransport(rec, [&](IoctlMessageUser& t) {
        Out answer{};
        unsigned size = sizeof answer;
        const int status = t.writeStructReadStruct(req, &in, sizeof in, &answer, &size);
        if (status == 0 && out != nullptr)
            *out = answer;
        return status;
    });
}

// readStruct(req, buffer, size) where the caller's count is scaled by the
// record size on the way in and back on the way out (unit 1: plain bytes).
template <unsigned Unit>
inline int readRecords(QuorvaleInstanceRec* rec, int req, void* buffer, uint32_t* count)
{
    return withTransport(rec, [&](IoctlMessageUser& t) {
        unsigned size = *count * Unit;
        const int status = t.readStruct(req, buffer, &size);
        if (status == 0)
            *count = size / Unit;
        return status;
    });
}

}  // namespace quorvale

#endif
