/* Built against the installed development package: walks the cards present
   and prints how many there are. */
#include <stdio.h>

#include <Quorvale.h>

int main(void)
{
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    QuorvaleInstanceRec* device = NULL;
    int count = 0;

    if (iterator == NULL) {
        fprintf(stderr, "no iterator\n");
        return 1;
    }
    while (ConnectToDriverCore(&device, iterator)) {
        count++;
        CloseDriverConnectionCore(device);
    }
    ReleaseQuorvaleIterator(iterator);
    printf("%d cards\n", count);
    return 0;
}
