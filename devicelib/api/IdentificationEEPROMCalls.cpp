// Programming and checking the card's identification EEPROM.
#include "QuorvaleMaintenance.h"

#include "MaintenanceShapes.h"
#include "MaintenanceRecords.h"

using namespace quorvale;

extern "C" {

int ProgramQuorvaleDeviceIdentificationEEPROM(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b,
                                              uint32_t c, uint32_t d)
{
    return withTransport(rec, [&](IoctlMessageUser& t) {
        const IdentificationEEPROMRec contents{a, c, b, d};  // the driver's order
        return t.writeStruct(0x9A2, &contents, sizeof contents);
    });
}

int VerifyQuorvaleDeviceIdentificationEEPROMisProgrammed(QuorvaleInstanceRec* rec)
{
    return callOnly(rec, 0x9A6);
}

int GetQuorvaleDeviceIdentificationEEPROMProgrammingStatus(QuorvaleInstanceRec* rec,
                                                           uint32_t* first, uint32_t* second,
                                                           uint32_t* third)
{
    return readScalars(rec, 0x9A3, first, second, third);
}

}  // extern "C"
