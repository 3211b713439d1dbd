// post_arrival: posts arrivals and removals into the discovery channel, as a
// companion process of the device family does when cards come and go.
//
//   post_arrival [--unlink] [+NODE | -NODE]...
//
//   +dv1      posts the arrival of /dev/vantorix/dv1
//   -dv1      posts its removal
//   --unlink  removes the channel's shared-memory object first, so that the
//             next process creates it afresh
//
// With no node it only creates (or joins) the channel. Exits 0 when the
// channel was joined and every post was accepted.
#include <sys/mman.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "QuorvaleDeviceDiscoveryNotifier.h"

int main(int argc, char** argv)
{
    int first = 1;
    if (argc > 1 && strcmp(argv[1], "--unlink") == 0) {
        shm_unlink(kDiscoverySegmentName);
        first = 2;
        if (argc == 2)
            return 0;
    }
    QuorvaleDeviceDiscoveryNotifier notifier;
    if (!notifier.connect()) {
        fprintf(stderr, "post_arrival: cannot join the discovery channel %s\n", kDiscoverySegmentName);
        return 1;
    }
    int status = 0;
    for (int i = first; i < argc; ++i) {
        const char sign = argv[i][0];
        QuorvaleDeviceNode node;
        const std::string path = std::string("/dev/vantorix/") + (argv[i] + 1);
        if ((sign != '+' && sign != '-') || !node.fromPath(path.c_str())) {
            fprintf(stderr, "post_arrival: not +NODE or -NODE: %s\n", argv[i]);
            status = 1;
            continue;
        }
        if (!notifier.notify(&node, sign == '+'))
            status = 1;
    }
    notifier.disconnect();
    return status;
}
