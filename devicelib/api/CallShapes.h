// The few shapes every exported device call takes, so that each call reads as
// one line of intent:
//
//   int SetGenlockTimingOffset(QuorvaleInstanceRec* rec, uint32_t offset)
//   { return writeScalars(rec, 0x980, offset); }
//
// Common rule: a null record or a null transport gives `missing` (1 unless the
// call says otherwise) and reaches no driver; otherwise exactly one transport
// operation runs and its status is returned unchanged; outputs are written
// only on status 0, and null output pointers are skipped.
#ifndef QUORVALE_CALL_SHAPES_H
#define QUORVALE_CALL_SHAPES_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "IoctlMessageUser.h"
#include "QuorvaleInstanceRec.h"
#include "QuorvaleTypes.h"

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
// transport writes the caller's output itself, on success only.
inline int readWord(QuorvaleInstanceRec* rec, int req, uint32_t* out)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.readScalar(req, out); });
}

inline int readFlag(QuorvaleInstanceRec* rec, int req, uint8_t* out)
{
    return withTransport(rec, [&](IoctlMessageUser& t) { return t.readScalar(req, out); });
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

}  // namespace quorvale

#endif
