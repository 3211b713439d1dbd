// Driver-level requests: statistics, DMA, raw messages and attributes. Most
// answer 1002 rather than 1 for a missing record or transport, as the newer
// driver's own requests do.
#include "QuorvaleMaintenance.h"

#include "MaintenanceRecords.h"
#include "CallShapes.h"

using namespace quorvale;

extern "C" {

int GetDriverInterfaceType(QuorvaleInstanceRec* rec)
{
    // No interface type is 1, so the usual status stays unambiguous.
    return rec == nullptr ? kQuorvaleBadArgument : static_cast<int>(rec->interfaceType);
}

int GetDriverStatistics(QuorvaleInstanceRec* rec, QuorvaleDriverStatisticsRec* statistics)
{
    return withTransport(
        rec,
        [&](IoctlMessageUser& t) {
            unsigned size = sizeof *statistics;
            return t.writeStructReadStruct(req::GetDriverStatistics, statistics, sizeof *statistics, statistics, &size);
        },
        kQuorvaleNotTranslatable);
}

int PerformDMATransfer(QuorvaleInstanceRec* rec, const QuorvaleDMATransferRec* transfer)
{
    return withTransport(
        rec, [&](IoctlMessageUser& t) { return t.writeStruct(req::PerformDMATransfer, transfer, sizeof *transfer); },
        kQuorvaleNotTranslatable);
}

int SendMessageRequest(QuorvaleInstanceRec* rec, QuorvaleMessageRequestRec* request)
{
    return withTransport(
        rec, [&](IoctlMessageUser& t) { return t.sendMessage(request); }, kQuorvaleNotTranslatable);
}

int SendBufferMessageRequest(QuorvaleInstanceRec* rec, QuorvaleBufferMessageRequestRec* request)
{
    return withTransport(
        rec, [&](IoctlMessageUser& t) { return t.sendBufferMessage(request); },
        kQuorvaleNotTranslatable);
}

int SetDriverAttribute(QuorvaleInstanceRec* rec, uint32_t attribute, uint32_t a, uint32_t b)
{
    return withTransport(
        rec,
        [&](IoctlMessageUser& t) {
            const unsigned long long in[] = {toScalar(attribute),
                                             uint64_t{b} << 32 | uint64_t{a}};
            return t.writeScalar(req::SetDriverAttribute, in, 2);
        },
        kQuorvaleNotTranslatable);
}

int GetDriverAttribute(QuorvaleInstanceRec* rec, uint32_t attribute, uint32_t* value)
{
    return exchangeScalars(rec, req::GetDriverAttribute, inputs(attribute), value);
}

int ReadZelqSwitchersRegister(QuorvaleInstanceRec*, uint32_t, uint32_t*)
{
    return kQuorvaleBadArgument;
}

int WriteZelqSwitchersRegister(QuorvaleInstanceRec*, uint32_t, uint32_t)
{
    return kQuorvaleBadArgument;
}

}  // extern "C"
