// The card's serial port. Every transfer is bounded by the driver's 64-byte
// buffer; longer requests are cut, not split.
#include "QuorvaleMaintenance.h"

#include <algorithm>
#include <cstring>

#include "CallShapes.h"
#include "MaintenanceRecords.h"

using namespace quorvale;

namespace {

uint32_t bounded(uint32_t length)
{
    return std::min(length, kSerialBufferSize);
}

}  // namespace

extern "C" {

int SerialOpen(QuorvaleInstanceRec* rec, uint32_t settings)
{
    return writeWord(rec, req::SerialOpen, settings);
}

int SerialClose(QuorvaleInstanceRec* rec)
{
    return bareRequest(rec, req::SerialClose);
}

int SerialRead(QuorvaleInstanceRec* rec, void* buffer, uint32_t length, uint32_t* bytesRead)
{
    if (buffer == nullptr || length == 0)
        return kQuorvaleBadArgument;
    return withTransport(rec, [&](IoctlMessageUser& t) {
        unsigned size = bounded(length);
        const int status = t.readStruct(req::SerialRead, buffer, &size);
        if (status == 0)
            storeScalar(size, bytesRead);
        return status;
    });
}

int SerialWrite(QuorvaleInstanceRec* rec, const void* data, uint32_t length, uint32_t* result)
{
    if (data == nullptr || length == 0)
        return kQuorvaleBadArgument;
    return withTransport(rec, [&](IoctlMessageUser& t) {
        uint32_t answer = 0;
        unsigned size = sizeof answer;
        const int status = t.writeStructReadStruct(req::SerialWrite, data, bounded(length), &answer, &size);
        if (status == 0)
            storeScalar(answer, result);
        return status;
    });
}

int SerialWriteWithInterrupt(QuorvaleInstanceRec* rec, const void* data, uint32_t length,
                             uint32_t* result, uint32_t extra)
{
    if (data == nullptr || length == 0 || result == nullptr)
        return kQuorvaleBadArgument;
    return withTransport(rec, [&](IoctlMessageUser& t) {
        SerialTransferRec transfer{};
        transfer.count = bounded(length);
        transfer.extra = extra;
        std::memcpy(transfer.data, data, transfer.count);
        unsigned size = sizeof *result;
        return t.writeStructReadStruct(req::SerialWriteWithInterrupt, &transfer, sizeof transfer, result, &size);
    });
}

int SerialReadWithInterrupt(QuorvaleInstanceRec* rec, void* buffer, uint32_t length,
                            uint32_t* bytesRead, uint32_t* extra)
{
    if (buffer == nullptr || length == 0 || bytesRead == nullptr || extra == nullptr)
        return kQuorvaleNotTranslatable;
    return withTransport(
        rec,
        [&](IoctlMessageUser& t) {
            const uint32_t wanted = bounded(length);
            SerialTransferRec reply{};
            unsigned size = sizeof reply;
            const int status = t.writeStructReadStruct(req::SerialReadWithInterrupt, &wanted, sizeof wanted, &reply, &size);
            if (status != 0)
                return status;
            // The reply record holds at most its own 64 bytes, whatever count
            // the driver claims.
            const uint32_t n = std::min({reply.count, length, kSerialBufferSize});
            *bytesRead = n;
            *extra = n != 0 ? reply.extra : 0;
            std::memcpy(buffer, reply.data, n);
            return 0;
        },
        kQuorvaleNotTranslatable);
}

int SerialGetInterruptCount(QuorvaleInstanceRec* rec, uint32_t* count)
{
    return readWord(rec, req::SerialGetInterruptCount, count);
}

int SerialSetRxTxSwapState(QuorvaleInstanceRec* rec, uint8_t swapped)
{
    return writeFlag(rec, req::SerialSetRxTxSwapState, swapped);
}

int SerialGetRxTxSwapState(QuorvaleInstanceRec* rec, uint8_t* swapped)
{
    return readFlag(rec, req::SerialGetRxTxSwapState, swapped);
}

}  // extern "C"
