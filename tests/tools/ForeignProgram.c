/* A program of the device family that is not ours: plain C, only the
 * library's public header and shared library. Lists the cards it finds:
 * "path driver model firmware" per line, then "N cards". */
#include <stdio.h>

#include "Quorvale.h"

int main(void)
{
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    QuorvaleInstanceRec* device;
    int count = 0;
    if (!iterator)
        return 1;
    while ((device = QuorvaleIteratorNext(iterator)) != NULL) {
        char path[64] = "";
        const char* model = NULL;
        uint32_t first = 0, second = 0;
        GetDevicePath(device, path);
        GetModelName(device, &model);
        GetQuorvaleFirmwareVersion(device, &first, &second);
        printf("%s %s %s %u.%u\n", path, GetDriverName(device), model, first, second);
        CloseDriverConnectionCore(device);
        ++count;
    }
    ReleaseQuorvaleIterator(iterator);
    printf("%d cards\n", count);
    return count == 0 ? 3 : 0;
}
