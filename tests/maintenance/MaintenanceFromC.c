/* A C caller of the family: the public header must compile as C, and the
   calls must link from the shared library by their plain names. */
#include <math.h>
#include <stddef.h>

#include "Quorvale.h"

int maintenanceCallsFromC(void)
{
    uint32_t word = 0;
    uint8_t flag = 0;
    double gain = 1.0;
    QuorvaleEventRef ref = NULL;
    QuorvaleMessageRequestRec message = {0x67737562u, 0, {0, 0, 0, 0}};
    QuorvaleDriverStatisticsRec statistics;
    int failures = 0;

    failures += SerialRead(NULL, &word, 4, &word) != 1;
    failures += SerialReadWithInterrupt(NULL, &word, 4, &word, &word) != 1002;
    failures += SerialGetRxTxSwapState(NULL, &flag) != 1;
    failures += SetBypassState(NULL, 1) != 1;
    failures += Write3DVideoOutputLookupTable(NULL, 1, NULL, 16384) != 1;
    failures += GetDriverStatistics(NULL, &statistics) != 1002;
    failures += SendMessageRequest(NULL, &message) != 1002;
    failures += GetDriverInterfaceType(NULL) != 1;
    failures += GetAnalogAudioOutputScale(NULL, &gain, NULL, NULL, NULL) != 1;
    failures += ConvertAudioGainToHardwareValue(-6.0) != 64;
    failures += ConvertHardwareValueToAudioGain(128) != 0.0;
    failures += fabs(ConvertHardwareValueToAudioGain(64) + 6.0206) > 1e-4;
    failures += InitialiseQuorvaleEventRef(&ref) != 0 || ref == NULL;
    DisposeQuorvaleEventRef(ref);
    return failures;
}
