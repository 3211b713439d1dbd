// The shapes every exported device call takes, so that each call reads as
// one line of intent:
//
//   int SetGenlockTimingOffset(QuorvaleInstanceRec* rec, uint32_t offset)
//   { return writeWord(rec, req::SetGenlockTimingOffset, offset); }
//
// Common rule: a null record or a null transport gives `missing` (1 unless the
// call says otherwise) and reaches no driver; otherwise exactly one transport
// operation runs and its status is returned unchanged; outputs are written
// only on status 0, and null output pointers are skipped, except where the
// caller's pointer goes straight to the transport.
#ifndef QUORVALE_CALL_SHAPES_H
#define QUORVALE_CALL_SHAPES_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "IoctlMessageUser.h"
#include "QuorvaleInstanceRec.h"
#include "QuorvaleTypes.h"
#include "Requests.h"

namespace quorvale {

// Runs `op(transport)` for a usable record.
template <typename Op>
inline int withTransport(QuorvaleInstanceRec* rec, Op&& op, int missing = kQuorvaleBadArgument)
{
    if (rec == nullptr || rec->transport == nullptr)
        return missing;
    return op(*rec->transport);
}

// One caller value as one 64-bit scalar: the parameter's own type decides,
// so unsigned values are zero-extended and signed ones sign-extended.
template <typename V>
constexpr unsigned long long toScalar(V value)
{
    static_assert(std::is_integral_v<V> || std::is_enum_v<V>, "scalars are integers");
    using Wide = std::conditional_t<std::is_signed_v<V>, long long, unsigned long long>;
    return static_cast<unsigned long long>(static_cast<Wide>(value));
}

// A returned scalar into a caller's output of any integer width (the low bits).
template <typename Out>
inline void storeScalar(unsigned long long value, Out* out)
{
    if (out != nullptr)
        *out = static_cast<Out>(value);
}

template <typename... Out>
inline void storeScalars(const unsigned long long* values, Out*... outs)
{
    std::size_t i = 0;
    (storeScalar(values[i++], outs), ...);
}

// call(req): a request without arguments.
inline int bareRequest(QuorvaleInstanceRec* rec, int req, int missing = kQuorvaleBadArgument)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.call(req); }, missing);
}

// One unsigned int or one byte goes through the transport's own narrow
// operation, not the array one with a count of 1: a derived transport may
// override either.
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
// transport writes the caller's output itself, on success only. A flag is a
// truth value (1 for any non-zero answer), not the low byte.
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

// Input scalars of a write-and-read request, packed in argument order.
template <std::size_t N>
struct ScalarInputs {
    unsigned long long values[N];
};

template <typename... V>
constexpr ScalarInputs<sizeof...(V)> inputs(V... values)
{
    return {{toScalar(values)...}};
}

// writeScalar(req, in[], n): the values, in argument order.
template <typename... V>
inline int writeScalars(QuorvaleInstanceRec* rec, int req, V... values)
{
    return withTransport(rec, [&](IoctlMessageUser& t) {
        const unsigned long long in[] = {toScalar(values)...};
        return t.writeScalar(req, in, sizeof...(V));
    });
}

// readScalar(req, out[], n) into a zero-filled local array, then each value
// into its output.
template <typename... Out>
inline int readScalars(QuorvaleInstanceRec* rec, int req, Out*... outs)
{
    return withTransport(rec, [&](IoctlMessageUser& t) {
        unsigned long long values[sizeof...(Out)] = {};
        const int status = t.readScalar(req, values, sizeof...(Out));
        if (status == 0)
            storeScalars(values, outs...);
        return status;
    });
}

// writeScalarReadScalar(req, in[], n, out[], m).
template <std::size_t N, typename... Out>
inline int exchangeScalars(QuorvaleInstanceRec* rec, int req, const ScalarInputs<N>& in,
                           Out*... outs)
{
    return withTransport(rec, [&](IoctlMessageUser& t) {
        unsigned long long values[sizeof...(Out)] = {};
        const int status = t.writeScalarReadScalar(req, in.values, N, values, sizeof...(Out));
        if (status == 0)
            storeScalars(values, outs...);
        return status;
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

// readStruct(req, out, size) of a fixed size; the size the driver returns is
// not needed.
inline int readBytes(QuorvaleInstanceRec* rec, int req, void* out, unsigned size)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.readStruct(req, out, &size); });
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

}  // namespace quorvale

#endif
