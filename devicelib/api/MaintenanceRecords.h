// The records the serial, EEPROM and lookup-table calls build for the driver.
// Their bytes are the kernel interface of the 32-bit product; the asserts hold
// in the i386 build (and in the x86_64 one, where these layouts do not change).
#ifndef QUORVALE_MAINTENANCE_RECORDS_H
#define QUORVALE_MAINTENANCE_RECORDS_H

#include <cstddef>
#include <cstdint>

#include "QuorvaleMaintenance.h"

namespace quorvale {

// The driver's serial buffer: no transfer carries more.
constexpr uint32_t kSerialBufferSize = 64;

// One serial transfer with its interrupt word, both directions.
struct SerialTransferRec {
    uint32_t count;  // bytes used in data
    uint32_t extra;  // interrupt word: the caller's going out, the driver's coming back
    uint8_t data[kSerialBufferSize];
};
static_assert(sizeof(SerialTransferRec) == 72, "serial transfer record is 72 bytes");
static_assert(offsetof(SerialTransferRec, extra) == 4 && offsetof(SerialTransferRec, data) == 8,
              "count, extra word, then the data");

// Identification EEPROM contents. The driver takes the second and third
// values crosswise: callers pass a, b, c, d and the record holds a, c, b, d.
struct IdentificationEEPROMRec {
    uint64_t a;
    uint64_t c;
    uint64_t b;
    uint64_t d;
};
static_assert(sizeof(IdentificationEEPROMRec) == 32, "EEPROM record is 32 bytes");
static_assert(offsetof(IdentificationEEPROMRec, c) == 8 && offsetof(IdentificationEEPROMRec, b) == 16,
              "b and c exchanged");

// The 3D lookup table goes by address: the table must be exactly this size.
constexpr uint32_t k3DLookupTableSize = 16384;

struct LookupTable3DRec {
    uint32_t enable;
    uint32_t tableAddress;  // a 32-bit process's pointer; the low half elsewhere
};
static_assert(sizeof(LookupTable3DRec) == 8, "3D lookup table record is 8 bytes");

struct LookupTable1DRec {
    uint32_t enable;
    uint32_t a;
    uint32_t b;
    uint32_t c;
};
static_assert(sizeof(LookupTable1DRec) == 16, "1D lookup table record is 16 bytes");

// Caller-visible driver records.
static_assert(sizeof(QuorvaleDriverStatisticsRec) == 24, "statistics block is 24 bytes");
static_assert(sizeof(QuorvaleDMATransferRec) == 24, "DMA transfer block is 24 bytes");
static_assert(sizeof(QuorvaleMessageRequestRec) == 40, "message record is 40 bytes");
static_assert(offsetof(QuorvaleMessageRequestRec, scalars) == 8, "scalars follow two words");
static_assert(sizeof(QuorvaleBufferMessageRequestRec) == 1064, "buffer message is 1064 bytes");

}  // namespace quorvale

#endif
