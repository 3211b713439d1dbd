/* The public header is plain C: this file includes it from a C compiler. */
#include "Quorvale.h"

int videoAudioHeaderRecordBytesInC(void);

int videoAudioHeaderRecordBytesInC(void)
{
    return (int)(sizeof(QuorvaleFrameDescriptor) + sizeof(QuorvaleCompletedInputFrameRec)
                 + sizeof(QuorvaleCompletionRec));
}
