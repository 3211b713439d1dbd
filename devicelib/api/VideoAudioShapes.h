// Shapes of the playback, capture and audio calls beyond the scalar arrays of
// CallShapes.h: bare requests, the single-value narrow operations (whose
// caller pointer goes straight to the transport) and fixed-size structures.
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

// writeScalar(req, unsigned int) / writeScalar(req, unsigned char).
inline int writeWord(QuorvaleInstanceRec* rec, int req, uint32_t value)
{
    return withTransport(rec, [&](IoctlMessageUser& t) {
        return t.writeScalar(req, static_cast<unsigned int>(value));
    });
}

inline int writeFlag(QuorvaleInstanceRec* rec, int req, uint8_t value)
{
    return withTransport(rec, [&](IoctlMessageUser& t) {
        return t.writeScalar(req, static_cast<unsigned char>(value));
    });
}

// readScalar(req, unsigned int*) / readScalar(req, unsigned char*): the
// transport writes the caller's output itself, on success only.
inline int readWord(QuorvaleInstanceRec* rec, int req, uint32_t* out)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.readScalar(req, out); });
}

inline int readFlag(QuorvaleInstanceRec* rec, int req, uint8_t* out)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.readScalar(req, out); });
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
