// simulated_cards: runs a program against simulated Quorvale cards.
//
//   simulated_cards --config FILE [--log FILE] [--log-format text|json]
//                   [--name NAME] -- PROGRAM ARGS...
//
// Installed as the harness of quorvale-sim (one per ABI), which gives it
// --log-format json and its own name for messages.
//
// Builds an emulated /dev/vantorix from FILE, runs PROGRAM (and whatever it
// execs) under the emulation, answers its ioctls until it exits, writes one
// line per request to the log, and exits with PROGRAM's status (128 + signal
// if it was killed). SIGTERM, SIGINT and SIGHUP are passed on to PROGRAM.
//
// Configuration: an optional first line "format 1" (the version of this
// format; another number is refused), then one card per "card" line, settings either as key=value
// words on that line (several values separated by commas) or as
// "key value..." lines that follow it. '#' starts a comment. Numbers are
// decimal or 0x hexadecimal; message codes are four characters or numbers.
//
//   card NAME                  node /dev/vantorix/NAME, e.g. dv0, card1, io0
//                              (io nodes default to the VantorixIO generation)
//   generation Quorvale|VantorixIO
//   kind card|file|block       a card (default), a plain file, a block device
//   major N / minor N          device number (default 10 and a fresh minor)
//   version N                  shared data structure version (default 189)
//   page-version N             word 0 of the shared page (default: version)
//   shared-page yes|no         no: the node cannot be mapped (default yes)
//   subdevice INDEX COUNT PARENT   (default 0 1 0)
//   device-info INFO MODEL     (default 0 1)
//   firmware FIRST SECOND
//   usable N, persistent-id N, topological-id N, busy N, audio-channels N, timer N
//   hardware-description HEX   up to 104 bytes
//   fail REQUEST ERRNO         the request fails with ERRNO
//   fail-message CODE ERRNO    the message fails with ERRNO
//   reply REQUEST V...         the request answers these output scalars
//   reply-message CODE V...    the message answers these scalars
//   raw REQUEST SIZE           the argument is a plain pointer to SIZE bytes
//   strict yes|no              unknown numbers of the other generation fail
//
// Example:
//   card dv0 subdevice=1,2,7 firmware=3,14
//   card dv1 subdevice=0,2,7
//   card io0
//     shared-page no
//     fail-message gfwv 5
//
// Log line: node=dv0 request=0x99a counts=0,0,3,0 scalars= [code=gsub mscalars=...]
// or with --log-format json one object per line (see formatRequestJson).
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "SimulatedCard.h"
#include "SimulatedCardConfig.h"

namespace {

volatile sig_atomic_t g_child = 0;
std::string g_name = "simulated_cards";

void forward(int signalNumber)
{
    if (g_child > 0)
        kill(pid_t(g_child), signalNumber);
}

int usage()
{
    fprintf(stderr, "usage: %s --config FILE [--log FILE] -- PROGRAM ARGS...\n", g_name.c_str());
    return 2;
}

// Exec'd children inherit the emulation through the preload of this build's ABI.
void enterEmulationForChildren()
{
    const char* preload = getenv("LD_PRELOAD");
    if (preload == nullptr || strstr(preload, "libumockdev-preload") == nullptr) {
        std::string value = SIMCARD_PRELOAD_NAME;
        if (preload != nullptr && *preload != '\0')
            value += std::string(":") + preload;
        setenv("LD_PRELOAD", value.c_str(), 1);
    }
    // A sanitized child would refuse to start with the preload ahead of its
    // runtime.
    const char* asan = getenv("ASAN_OPTIONS");
    if (asan == nullptr || strstr(asan, "verify_asan_link_order") == nullptr) {
        const std::string value = asan != nullptr && *asan != '\0'
                                      ? std::string(asan) + ":verify_asan_link_order=0"
                                      : std::string("verify_asan_link_order=0");
        setenv("ASAN_OPTIONS", value.c_str(), 1);
    }
    const std::string dir = SIMCARD_PRELOAD_DIR;
    if (!dir.empty()) {
        const char* path = getenv("LD_LIBRARY_PATH");
        const std::string value = path != nullptr && *path != '\0' ? std::string(path) + ":" + dir
                                                                   : dir;
        setenv("LD_LIBRARY_PATH", value.c_str(), 1);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    std::string configPath;
    std::string logPath;
    bool jsonLog = false;
    int programIndex = -1;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--config" && i + 1 < argc) {
            configPath = argv[++i];
        } else if (a == "--log" && i + 1 < argc) {
            logPath = argv[++i];
        } else if (a == "--log-format" && i + 1 < argc
                   && (strcmp(argv[i + 1], "json") == 0 || strcmp(argv[i + 1], "text") == 0)) {
            jsonLog = strcmp(argv[++i], "json") == 0;
        } else if (a == "--name" && i + 1 < argc) {
            g_name = argv[++i];
        } else if (a == "--") {
            programIndex = i + 1;
            break;
        } else {
            return usage();
        }
    }
    if (configPath.empty() || programIndex < 0 || programIndex >= argc)
        return usage();

    std::ifstream config(configPath);
    if (!config) {
        fprintf(stderr, "%s: cannot read %s: %s\n", g_name.c_str(), configPath.c_str(), strerror(errno));
        return 2;
    }
    std::vector<simcard::NodeConfig> nodes;
    std::string error;
    if (!simcard::parseConfig(config, nodes, error)) {
        fprintf(stderr, "%s: %s: %s\n", g_name.c_str(), configPath.c_str(), error.c_str());
        return 2;
    }

    enterEmulationForChildren();
    simcard::SimulatedCard cards;
    cards.createDeviceDirectory();
    try {
        for (const simcard::NodeConfig& node : nodes)
            cards.addNode(node);
    } catch (const std::exception& e) {
        fprintf(stderr, "%s: %s\n", g_name.c_str(), e.what());
        return 2;
    }

    struct sigaction action {};
    action.sa_handler = forward;
    sigemptyset(&action.sa_mask);
    for (int s : {SIGTERM, SIGINT, SIGHUP})
        sigaction(s, &action, nullptr);

    // Held back until the child's pid is known: a signal that arrives while
    // the program starts is forwarded, not lost.
    sigset_t forwarded, previous;
    sigemptyset(&forwarded);
    for (int s : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&forwarded, s);
    sigprocmask(SIG_BLOCK, &forwarded, &previous);
    const pid_t child = fork();
    if (child < 0) {
        fprintf(stderr, "%s: fork: %s\n", g_name.c_str(), strerror(errno));
        return 2;
    }
    if (child == 0) {
        struct sigaction standard {};
        standard.sa_handler = SIG_DFL;
        for (int s : {SIGTERM, SIGINT, SIGHUP})
            sigaction(s, &standard, nullptr);
        sigprocmask(SIG_SETMASK, &previous, nullptr);
        execvp(argv[programIndex], argv + programIndex);
        fprintf(stderr, "%s: cannot run %s: %s\n", g_name.c_str(), argv[programIndex], strerror(errno));
        _exit(127);
    }
    g_child = child;
    sigprocmask(SIG_SETMASK, &previous, nullptr);

    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }

    if (!logPath.empty()) {
        std::ofstream log(logPath);
        for (const simcard::Request& r : cards.requests())
            log << (jsonLog ? simcard::formatRequestJson(r) : simcard::formatRequest(r)) << '\n';
    }
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        return 128 + WTERMSIG(status);
    return 1;
}
