// simulated_updater: a stand-in for the external firmware updater whose every
// run is scripted by a test. Point VANTORIX_FIRMWARE_UPDATER_PATH (or the
// updater client's path) at this program.
//
// Environment
//   SIMULATED_UPDATER_LOG       file to which each run first appends one line:
//                               its arguments after the program name, separated
//                               by a tab, each escaped (\\ \t \n \r, other control
//                               bytes as \xHH); e.g. "-gui<TAB>status<TAB>/dev/vantorix/dv0".
//                               Written with one write() before anything else.
//   SIMULATED_UPDATER_SCENARIO  the scenario file for this run.
//
// Command line as the client gives it: [-gui] <command> [<target>]. A leading
// "-gui" is skipped; <command> is the next argument ("status", "update",
// "ignore-version", ...), <target> the one after it ("-" when there is none).
//
// Scenario file: one step per line; blank lines and lines starting with '#'
// are ignored.
//
//   <command> <target> <action> [<argument>]
//
//   <command>  matched against the run's command.
//   <target>   matched against the run's target: a card path, "-" for a run
//              without one, or "*" for any target. The steps of the lines that
//              name the target exactly are used; only when there are none, the
//              "*" lines of that command. Escapes as in <text> are allowed.
//   <action>   one of
//     out <text>          write <text> to stdout in one write(). <text> is the
//                         rest of the line after the single blank; escapes
//                         \n \r \t \\ \s (blank) \xHH; nothing is added, so
//                         no line feed unless written as \n.
//     err <text>          the same to stderr.
//     repeat <N> <text>   write <text> N times to stdout (large outputs).
//     sleep <ms>          pause.
//     drain               wait until the reader has taken every byte written to
//                         stdout so far (stdout must be a pipe; otherwise no
//                         wait). Makes split writes arrive as separate reads.
//     hang                sleep until killed (gives up when the parent is gone).
//     signal <sig>        die by a signal with its default action and no core
//                         file: a number or SEGV, KILL, ABRT, TERM, BUS.
//     exit <code>         end now with that exit code.
//   The steps run in file order; after the last one the run exits 0.
//
// A run for which no line matches writes a diagnostic to stderr and exits 99.
//
// Example: card dv0 needs an update and the update prints two progress lines,
// the second one in two writes, then fails:
//   status /dev/vantorix/dv0 out 1:/dev/vantorix/dv0:1f:Quorvale Duo\n
//   update /dev/vantorix/dv0 out 10\n
//   update /dev/vantorix/dv0 sleep 200
//   update /dev/vantorix/dv0 out 5
//   update /dev/vantorix/dv0 drain
//   update /dev/vantorix/dv0 out 0\n
//   update /dev/vantorix/dv0 exit 1
//   ignore-version * exit 0

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kNoScenarioExitCode = 99;

struct Step {
    std::string action;
    std::string argument;
};

void writeAll(int fd, const char* data, size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return;  // the reader is gone; nothing left to tell
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
}

void writeAll(int fd, const std::string& text)
{
    writeAll(fd, text.data(), text.size());
}

void sleepMilliseconds(long milliseconds)
{
    timespec pause{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    while (::nanosleep(&pause, &pause) != 0 && errno == EINTR) {
    }
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::string unescape(const std::string& text)
{
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            bytes += text[i];
            continue;
        }
        const char code = text[++i];
        switch (code) {
        case 'n': bytes += '\n'; break;
        case 'r': bytes += '\r'; break;
        case 't': bytes += '\t'; break;
        case 's': bytes += ' '; break;
        case 'x':
            if (i + 2 < text.size() && hexDigit(text[i + 1]) >= 0 && hexDigit(text[i + 2]) >= 0) {
                bytes += static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2]));
                i += 2;
            } else {
                bytes += "\\x";
            }
            break;
        default: bytes += code; break;  // "\\" and anything unknown stand for themselves
        }
    }
    return bytes;
}

std::string escapeForLog(const char* argument)
{
    std::string escaped;
    for (const char* p = argument; *p; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        switch (c) {
        case '\\': escaped += "\\\\"; break;
        case '\t': escaped += "\\t"; break;
        case '\n': escaped += "\\n"; break;
        case '\r': escaped += "\\r"; break;
        default:
            if (c < 0x20 || c == 0x7f) {
                char hex[5];
                std::snprintf(hex, sizeof hex, "\\x%02x", c);
                escaped += hex;
            } else {
                escaped += static_cast<char>(c);
            }
        }
    }
    return escaped;
}

void appendToLog(int argc, char** argv)
{
    const char* logPath = std::getenv("SIMULATED_UPDATER_LOG");
    if (!logPath || !*logPath)
        return;
    std::string line;
    for (int i = 1; i < argc; ++i) {
        if (i > 1)
            line += '\t';
        line += escapeForLog(argv[i]);
    }
    line += '\n';
    const int fd = ::open(logPath, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    writeAll(fd, line);
    ::fsync(fd);
    ::close(fd);
}

// Splits "<command> <target> <action> [<argument>]"; the argument is the rest
// of the line after exactly one blank, kept verbatim.
bool splitLine(const std::string& line, std::string fields[3], std::string& argument)
{
    size_t start = 0;
    for (int i = 0; i < 3; ++i) {
        while (start < line.size() && line[start] == ' ')
            ++start;
        const size_t end = line.find(' ', start);
        fields[i] = line.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (fields[i].empty())
            return false;
        start = end == std::string::npos ? line.size() : end + 1;
    }
    argument = start < line.size() ? line.substr(start) : std::string();
    return true;
}

std::vector<Step> readSteps(const std::string& command, const std::string& target)
{
    std::vector<Step> exact;
    std::vector<Step> wildcard;
    const char* scenarioPath = std::getenv("SIMULATED_UPDATER_SCENARIO");
    FILE* file = scenarioPath ? std::fopen(scenarioPath, "re") : nullptr;
    if (!file)
        return exact;
    char* raw = nullptr;
    size_t capacity = 0;
    ssize_t length;
    while ((length = ::getline(&raw, &capacity, file)) >= 0) {
        std::string line(raw, static_cast<size_t>(length));
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
            line.pop_back();
        if (line.empty() || line[0] == '#')
            continue;
        std::string fields[3];
        std::string argument;
        if (!splitLine(line, fields, argument) || fields[0] != command)
            continue;
        const std::string lineTarget = unescape(fields[1]);
        if (lineTarget == target)
            exact.push_back({fields[2], argument});
        else if (lineTarget == "*")
            wildcard.push_back({fields[2], argument});
    }
    std::free(raw);
    std::fclose(file);
    return exact.empty() ? wildcard : exact;
}

void waitUntilDrained()
{
    struct stat status;
    if (::fstat(STDOUT_FILENO, &status) != 0 || !S_ISFIFO(status.st_mode))
        return;
    const pid_t parent = ::getppid();
    for (;;) {
        int unread = 0;
        if (::ioctl(STDOUT_FILENO, FIONREAD, &unread) != 0 || unread == 0 || ::getppid() != parent)
            return;
        sleepMilliseconds(2);
    }
}

[[noreturn]] void hang()
{
    const pid_t parent = ::getppid();
    while (::getppid() == parent)
        sleepMilliseconds(100);
    ::_exit(kNoScenarioExitCode);
}

int signalNumber(const std::string& name)
{
    static const struct {
        const char* name;
        int number;
    } kSignals[] = {{"SEGV", SIGSEGV}, {"KILL", SIGKILL}, {"ABRT", SIGABRT},
                    {"TERM", SIGTERM}, {"BUS", SIGBUS}};
    for (const auto& known : kSignals)
        if (name == known.name)
            return known.number;
    return std::atoi(name.c_str());
}

[[noreturn]] void dieBySignal(int number)
{
    const rlimit noCore{0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    // Back to the default action even where a sanitizer runtime installed its own handler.
    struct sigaction defaultAction;
    std::memset(&defaultAction, 0, sizeof defaultAction);
    defaultAction.sa_handler = SIG_DFL;
    ::sigaction(number, &defaultAction, nullptr);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, number);
    ::sigprocmask(SIG_UNBLOCK, &only, nullptr);
    ::kill(::getpid(), number);
    ::_exit(kNoScenarioExitCode);  // a signal whose default action does not end the process
}

}  // namespace

int main(int argc, char** argv)
{
    appendToLog(argc, argv);

    int next = 1;
    if (next < argc && std::strcmp(argv[next], "-gui") == 0)
        ++next;
    const std::string command = next < argc ? argv[next++] : "";
    const std::string target = next < argc ? argv[next] : "-";

    const std::vector<Step> steps = readSteps(command, target);
    if (steps.empty()) {
        writeAll(STDERR_FILENO, "simulated_updater: no scenario for '" + command + "' '" + target + "'\n");
        ::_exit(kNoScenarioExitCode);
    }

    for (const Step& step : steps) {
        if (step.action == "out") {
            writeAll(STDOUT_FILENO, unescape(step.argument));
        } else if (step.action == "err") {
            writeAll(STDERR_FILENO, unescape(step.argument));
        } else if (step.action == "repeat") {
            const size_t blank = step.argument.find(' ');
            const long times = std::atol(step.argument.substr(0, blank).c_str());
            const std::string unit =
                blank == std::string::npos ? std::string() : unescape(step.argument.substr(blank + 1));
            std::string chunk;
            for (long i = 0; i < times; ++i) {
                chunk += unit;
                if (chunk.size() >= 65536) {
                    writeAll(STDOUT_FILENO, chunk);
                    chunk.clear();
                }
            }
            writeAll(STDOUT_FILENO, chunk);
        } else if (step.action == "sleep") {
            sleepMilliseconds(std::atol(step.argument.c_str()));
        } else if (step.action == "drain") {
            waitUntilDrained();
        } else if (step.action == "hang") {
            hang();
        } else if (step.action == "signal") {
            dieBySignal(signalNumber(step.argument));
        } else if (step.action == "exit") {
            ::_exit(std::atoi(step.argument.c_str()));
        } else {
            writeAll(STDERR_FILENO, "simulated_updater: unknown action '" + step.action + "'\n");
            ::_exit(kNoScenarioExitCode);
        }
    }
    ::_exit(0);
}
