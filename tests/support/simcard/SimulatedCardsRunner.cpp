// simulated_cards: runs a program against simulated Quorvale cards.
//
//   simulated_cards --config FILE [--log FILE] [--log-format text|json]
//                   [--name NAME] [--control FIFO] [--testbed FILE] -- PROGRAM ARGS...
//
// Installed as the harness of quorvale-sim (one per ABI), which gives it
// --log-format json and its own name for messages.
//
// Builds an emulated /dev/vantorix from FILE, runs PROGRAM (and whatever it
// execs) under the emulation, answers its ioctls until it exits, writes one
// line per request to the log, and exits with PROGRAM's status (128 + signal
// if it was killed). SIGTERM, SIGINT and SIGHUP are passed on to PROGRAM.
//
// --control FIFO plugs and unplugs cards while PROGRAM runs, one command a
// line: "plug NAME [SETTING...]" (NAME and settings as on a "card" line) and
// "unplug NAME". Udev monitors of the testbed's processes receive "add" and
// "remove" as from udev; the runner then runs under the emulation itself.
// --testbed FILE writes the testbed's root (the UMOCKDEV_DIR under which
// other processes join the emulation) into FILE once the cards are in place.
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
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "SimulatedCard.h"
#include "SimulatedCardConfig.h"

namespace {

volatile sig_atomic_t g_child = 0;
std::string g_name = "simulated_cards";
int g_childEnded[2] = {-1, -1};

void forward(int signalNumber)
{
    if (g_child > 0)
        kill(pid_t(g_child), signalNumber);
}

void childEnded(int)
{
    const int saved = errno;
    const char byte = 0;
    if (write(g_childEnded[1], &byte, 1) < 0) {
        // The pipe is full: a wake-up is pending anyway.
    }
    errno = saved;
}

int usage()
{
    fprintf(stderr, "usage: %s --config FILE [--log FILE] [--control FIFO] [--testbed FILE] -- PROGRAM ARGS...\n",
            g_name.c_str());
    return 2;
}

// One command of the control FIFO; false (with a message) if it is wrong.
bool control(simcard::SimulatedCard& cards, const std::string& line)
{
    std::istringstream words(line);
    std::string verb, name;
    words >> verb >> name;
    try {
        if (verb == "plug" && !name.empty()) {
            std::string settings;
            std::getline(words, settings);
            std::istringstream config("card " + name + settings + "\n");
            std::vector<simcard::NodeConfig> nodes;
            std::string error;
            if (!simcard::parseConfig(config, nodes, error) || nodes.size() != 1) {
                fprintf(stderr, "%s: control: %s: %s\n", g_name.c_str(), line.c_str(), error.c_str());
                return false;
            }
            cards.addNode(nodes.front());
            return true;
        }
        if (verb == "unplug" && !name.empty()) {
            cards.removeNode(name);
            return true;
        }
    } catch (const std::exception& e) {
        fprintf(stderr, "%s: control: %s: %s\n", g_name.c_str(), line.c_str(), e.what());
        return false;
    }
    fprintf(stderr, "%s: control: not \"plug NAME...\" or \"unplug NAME\": %s\n", g_name.c_str(), line.c_str());
    return false;
}

// Reads whole lines from the FIFO and carries them out.
void readControl(simcard::SimulatedCard& cards, int fd, std::string& partial)
{
    char buffer[512];
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n <= 0)
        return;
    partial.append(buffer, size_t(n));
    size_t end;
    while ((end = partial.find('\n')) != std::string::npos) {
        const std::string line = partial.substr(0, end);
        partial.erase(0, end + 1);
        if (!line.empty())
            control(cards, line);
    }
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
    std::string controlPath;
    std::string testbedPath;
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
        } else if (a == "--control" && i + 1 < argc) {
            controlPath = argv[++i];
        } else if (a == "--testbed" && i + 1 < argc) {
            testbedPath = argv[++i];
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

    // Only a testbed process under the emulation sends udev events. (Asking
    // the emulation whether it is active before a testbed exists would make
    // it answer no for good, so the preload variable tells.)
    const char* preload = getenv("LD_PRELOAD");
    const bool underEmulation = preload != nullptr && strstr(preload, "libumockdev-preload") != nullptr;
    enterEmulationForChildren();
    if (!controlPath.empty() && !underEmulation) {
        execv("/proc/self/exe", argv);
        fprintf(stderr, "%s: cannot run under the emulation: %s\n", g_name.c_str(), strerror(errno));
        return 2;
    }
    int controlFd = -1;
    if (!controlPath.empty()) {
        // Read and write, so that a writer closing it is no end of file.
        controlFd = open(controlPath.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
        if (controlFd == -1) {
            fprintf(stderr, "%s: cannot open %s: %s\n", g_name.c_str(), controlPath.c_str(), strerror(errno));
            return 2;
        }
    }
    simcard::SimulatedCard cards;
    cards.createDeviceDirectory();
    try {
        for (const simcard::NodeConfig& node : nodes)
            cards.addNode(node);
    } catch (const std::exception& e) {
        fprintf(stderr, "%s: %s\n", g_name.c_str(), e.what());
        return 2;
    }

    if (!testbedPath.empty()) {
        std::ofstream testbed(testbedPath);
        testbed << cards.rootDir() << '\n';
    }

    if (pipe2(g_childEnded, O_CLOEXEC | O_NONBLOCK) != 0) {
        fprintf(stderr, "%s: pipe: %s\n", g_name.c_str(), strerror(errno));
        return 2;
    }
    struct sigaction onChildEnd {};
    onChildEnd.sa_handler = childEnded;
    onChildEnd.sa_flags = SA_RESTART | SA_NOCLDSTOP;
    sigemptyset(&onChildEnd.sa_mask);
    sigaction(SIGCHLD, &onChildEnd, nullptr);

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
        for (int s : {SIGTERM, SIGINT, SIGHUP, SIGCHLD})
            sigaction(s, &standard, nullptr);
        sigprocmask(SIG_SETMASK, &previous, nullptr);
        execvp(argv[programIndex], argv + programIndex);
        fprintf(stderr, "%s: cannot run %s: %s\n", g_name.c_str(), argv[programIndex], strerror(errno));
        _exit(127);
    }
    g_child = child;
    sigprocmask(SIG_SETMASK, &previous, nullptr);

    // Sleeps until the program ends or a control command comes.
    int status = 0;
    std::string partial;
    for (;;) {
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == child || (ended < 0 && errno != EINTR))
            break;
        pollfd watched[2] = {{g_childEnded[0], POLLIN, 0}, {controlFd, POLLIN, 0}};
        if (poll(watched, 2, -1) < 0)
            continue;
        if (watched[0].revents != 0) {
            char drained[64];
            while (read(g_childEnded[0], drained, sizeof drained) > 0) {
            }
        }
        if (watched[1].revents != 0)
            readControl(cards, controlFd, partial);
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
