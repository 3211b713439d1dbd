// quorvale-hotplugd: announces cards plugged in and removed while programs of
// the device family run, on their discovery channel. See quorvale-hotplugd(8).
#include <cstdio>
#include <cstring>
#include <string>

#include "HotplugCompanion.h"
#include "ServiceManagerNotice.h"

namespace {

const char kProgram[] = "quorvale-hotplugd";

enum ExitStatus { kEnded = 0, kFailed = 1, kUsage = 2 };

void usage(FILE* stream)
{
    fprintf(stream,
            "usage: %s [--verbose]\n"
            "Announces Quorvale cards plugged in and removed on the discovery channel\n"
            "until SIGTERM or SIGINT.\n"
            "  -v, --verbose  print each announcement, and when it is ready, on standard output\n"
            "  -h, --help     print this help\n",
            kProgram);
}

}  // namespace

int main(int argc, char** argv)
{
    bool verbose = false;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "-v") == 0 || strcmp(argv[i], "--verbose") == 0) {
            verbose = true;
        } else if (strcmp(argv[i], "-h") == 0 || strcmp(argv[i], "--help") == 0) {
            usage(stdout);
            return kEnded;
        } else {
            fprintf(stderr, "%s: unknown argument \"%s\"\n", kProgram, argv[i]);
            usage(stderr);
            return kUsage;
        }
    }

    HotplugCompanion companion(verbose ? stdout : nullptr);
    std::string error;
    if (!companion.start(error)) {
        fprintf(stderr, "%s: %s\n", kProgram, error.c_str());
        return kFailed;
    }
    if (verbose) {
        puts("ready: watching /dev/vantorix");
        fflush(stdout);
    }
    ServiceManagerNotice::send("READY=1");
    if (!companion.run(error)) {
        fprintf(stderr, "%s: %s\n", kProgram, error.c_str());
        return kFailed;
    }
    ServiceManagerNotice::send("STOPPING=1");
    return kEnded;
}
