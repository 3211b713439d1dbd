// Programming and checking the card's identification EEPROM.
#include "QuorvaleMaintenance.h"

#include "CallShapes.h"
#include "MaintenanceRecords.h"

using namespace quorvale;

extern "C" {

int ProgramQuorvaleDeviceIdentificationEEPROM(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b,
                                              uint32_t c, uint32_t d)
{
    const IdentificationEEPROMRec contents{a, c, b, d};  // the driver's order
    return writeRecord(rec, req::ProgramQuorvaleDeviceIdentificationEEPROM, contents);
}

int VerifyQuorvaleDeviceIdentificationEEPROMisProgrammed(QuorvaleInstanceRec* rec)
{
    return bareRequest(rec, req::VerifyQuorvaleDeviceIdentificationEEPROMisProgrammed);
}

int GetQuorvaleDeviceIdentificationEEPROMProgrammingStatus(QuorvaleInstanceRec* rec,
                                                           uint32_t* first, uint32_t* second,
                                                           uint32_t* third)
{
    return readScalars(rec, req::GetQuorvaleDeviceIdentificationEEPROMProgrammingStatus, first, second, third);
}

}  // extern "C"
