// quorvalectl: what the device library sees of the cards and of the
// discovery channel, for the people who support the cards.
//
// list and info go through the library's exported calls only, so they show
// exactly what any program of the device family gets. watch and channel read
// the discovery channel through the library's own notifier code. Nothing here
// posts to the channel or changes a card's settings.
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "Quorvale.h"
#include "QuorvaleDeviceDiscoveryNotifier.h"

namespace {

enum ExitStatus {
    kExitOk = 0,
    kExitFailed = 1,    // a system or library call failed
    kExitUsage = 2,     // bad command line
    kExitNotFound = 3,  // no such card, or no discovery channel yet
};

const char kProgram[] = "quorvalectl";
const char kDeviceDirectory[] = "/dev/vantorix/";

void complain(const char* command, const char* format, ...) __attribute__((format(printf, 2, 3)));
void complain(const char* command, const char* format, ...)
{
    fprintf(stderr, "%s: %s: ", kProgram, command);
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
    fputc('\n', stderr);
}

// ---- output helpers -------------------------------------------------------

std::string jsonString(const std::string& text)
{
    std::string out = "\"";
    for (const unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += char(c);
        } else if (c < 0x20 || c >= 0x7f) {
            char escaped[8];
            snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out += char(c);
        }
    }
    return out + "\"";
}

// Bytes that are not printable ASCII are shown as \xNN, so that a damaged
// name in the channel cannot garble the terminal.
std::string printable(const std::string& text)
{
    std::string out;
    for (const unsigned char c : text) {
        if (c < 0x20 || c >= 0x7f || c == '\\') {
            char escaped[8];
            snprintf(escaped, sizeof escaped, "\\x%02x", c);
            out += escaped;
        } else {
            out += char(c);
        }
    }
    return out;
}

std::string hex(const unsigned char* bytes, size_t size)
{
    std::string out;
    char pair[3];
    for (size_t i = 0; i < size; ++i) {
        snprintf(pair, sizeof pair, "%02x", bytes[i]);
        out += pair;
    }
    return out;
}

std::string number(unsigned long long value)
{
    return std::to_string(value);
}

std::string hexNumber(unsigned long long value)
{
    char text[24];
    snprintf(text, sizeof text, "0x%llx", value);
    return text;
}

// ---- device fields --------------------------------------------------------

// What a library status means, for the person reading the error.
std::string statusText(int status, int error)
{
    switch (status) {
    case kQuorvaleBadArgument:
        return "status 1: unusable argument";
    case kQuorvaleNoMemory:
        return "status 1001: out of memory";
    case kQuorvaleNotTranslatable:
        return "status 1002: the VantorixIO driver has no equivalent of this request";
    case kQuorvaleMessagesUnsupported:
        return "status 1012: the Quorvale driver does not take message requests";
    case kQuorvaleIoctlFailed:
        return std::string("status -1: the driver refused the request: ")
               + (error != 0 ? strerror(error) : "no system error given");
    default:
        return "status " + std::to_string(status);
    }
}

// One named value of a card, or the reason it could not be read. JSON holds
// either a number, a string or a nested object, already formatted.
struct Field {
    std::string name;
    std::string text;  // as shown by the text output
    std::string json;  // JSON value; "null" when failed
    int status = 0;
    int error = 0;
};

class Card {
public:
    explicit Card(QuorvaleInstanceRec* device)
        : m_device(device)
    {
    }

    std::vector<Field> fields;

    // Runs one library call with errno cleared, so that a failure can name
    // the system error of its ioctl.
    template <typename Call>
    bool call(const char* name, Call&& run)
    {
        errno = 0;
        const int status = run(m_device);
        const int error = errno;
        if (status == 0)
            return true;
        Field failed;
        failed.name = name;
        failed.text = "unavailable (" + statusText(status, error) + ")";
        failed.json = "null";
        failed.status = status;
        failed.error = error;
        fields.push_back(failed);
        return false;
    }

    void add(const char* name, const std::string& text, const std::string& json)
    {
        Field field;
        field.name = name;
        field.text = text;
        field.json = json;
        fields.push_back(field);
    }

    void addNumber(const char* name, unsigned long long value)
    {
        add(name, number(value), number(value));
    }

    QuorvaleInstanceRec* device() const { return m_device; }

    std::string textLine() const
    {
        std::string line;
        for (const Field& field : fields) {
            if (field.name == "node") {
                line = field.text;
                continue;
            }
            line += " " + field.name + "=" + (field.status == 0 ? field.text : "?");
        }
        return line;
    }

    std::string jsonObject() const
    {
        std::string object = "{";
        std::string errors;
        for (const Field& field : fields) {
            if (object.size() > 1)
                object += ",";
            object += jsonString(field.name) + ":" + field.json;
            if (field.status != 0) {
                if (!errors.empty())
                    errors += ",";
                errors += jsonString(field.name) + ":{\"status\":" + std::to_string(field.status)
                          + ",\"error\":" + jsonString(field.error ? strerror(field.error) : "")
                          + ",\"message\":" + jsonString(statusText(field.status, field.error))
                          + "}";
            }
        }
        return object + ",\"errors\":{" + errors + "}}";
    }

private:
    QuorvaleInstanceRec* m_device;
};

std::string baseName(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The node the device was really opened through. The library reports a
// "card" node under "dv" (GetDevicePath), so the name comes from the open
// descriptor; the reported path is kept beside it.
std::string openedNodeName(QuorvaleInstanceRec* device, const std::string& reportedPath)
{
    char link[64];
    const std::string fdPath = "/proc/self/fd/" + std::to_string(GetDriverFileDescriptor(device));
    const ssize_t length = readlink(fdPath.c_str(), link, sizeof link - 1);
    if (length > 0) {
        link[length] = '\0';
        return baseName(link);
    }
    return baseName(reportedPath);
}

// The fields of `list`: identity, model, firmware, grouping, identifier and
// busy state.
void readSummary(Card& card)
{
    QuorvaleInstanceRec* device = card.device();
    char path[64] = "";
    const bool havePath = GetDevicePath(device, path);
    const std::string node = openedNodeName(device, path);
    card.add("node", node, jsonString(node));
    if (havePath)
        card.add("path", path, jsonString(path));
    else
        card.add("path", "?", "null");
    const char* driver = GetDriverName(device);
    card.add("driver", driver ? driver : "?", driver ? jsonString(driver) : "null");

    uint32_t info = 0;
    uint32_t modelIndex = 0;
    if (card.call("modelIndex", [&](QuorvaleInstanceRec* d) {
            return VantorixGetDeviceInfo(d, &info, &modelIndex);
        }))
        card.addNumber("modelIndex", modelIndex);
    const char* model = nullptr;
    if (card.call("model", [&](QuorvaleInstanceRec* d) { return GetModelName(d, &model); }) && model)
        card.add("model", std::string("\"") + model + "\"", jsonString(model));

    uint32_t first = 0, second = 0;
    if (card.call("firmware", [&](QuorvaleInstanceRec* d) {
            return GetQuorvaleFirmwareVersion(d, &first, &second);
        }))
        card.add("firmware", number(first) + "," + number(second),
                 "[" + number(first) + "," + number(second) + "]");

    uint32_t index = 0, count = 0, parent = 0;
    if (card.call("subDevice", [&](QuorvaleInstanceRec* d) {
            return GetSubDeviceInfo(d, &index, &count, &parent);
        }))
        card.add("subDevice", number(index) + "/" + number(count) + ",parent=" + number(parent),
                 "{\"index\":" + number(index) + ",\"count\":" + number(count)
                     + ",\"parent\":" + number(parent) + "}");

    uint32_t id = 0;
    if (card.call("persistentId",
                  [&](QuorvaleInstanceRec* d) { return GetQuorvalePersistentIdentifier(d, &id); }))
        card.add("persistentId", hexNumber(id), number(id));

    uint32_t busy = 0;
    if (card.call("busy", [&](QuorvaleInstanceRec* d) { return GetQuorvaleDeviceBusyState(d, &busy); }))
        card.addNumber("busy", busy);
}

// Everything else the information calls return.
void readDetails(Card& card)
{
    uint32_t version = 0;
    if (card.call("sharedDataVersion", [&](QuorvaleInstanceRec* d) {
            return GetDriverSharedDataStructureVersion(d, &version);
        }))
        card.addNumber("sharedDataVersion", version);

    unsigned char hardware[104] = {};
    if (card.call("hardwareDescription",
                  [&](QuorvaleInstanceRec* d) { return GetHardwareDescription(d, hardware); }))
        card.add("hardwareDescription", hex(hardware, sizeof hardware),
                 jsonString(hex(hardware, sizeof hardware)));

    // One byte more than the driver fills, so that a call writing past 65
    // bytes would not go unnoticed here.
    unsigned char serial[66] = {};
    if (card.call("serialPortDescription", [&](QuorvaleInstanceRec* d) {
            return GetSerialPortDescription(d, reinterpret_cast<char*>(serial));
        }))
        card.add("serialPortDescription", hex(serial, 65), jsonString(hex(serial, 65)));

    uint32_t info = 0, modelIndex = 0;
    if (card.call("deviceInfo",
                  [&](QuorvaleInstanceRec* d) { return VantorixGetDeviceInfo(d, &info, &modelIndex); }))
        card.addNumber("deviceInfo", info);

    uint32_t value = 0;
    if (card.call("hardwareUsable", [&](QuorvaleInstanceRec* d) { return IsQuorvaleHardwareUsable(d, &value); }))
        card.addNumber("hardwareUsable", value);
    if (card.call("topologicalId",
                  [&](QuorvaleInstanceRec* d) { return GetQuorvaleTopologicalIdentifier(d, &value); }))
        card.add("topologicalId", hexNumber(value), number(value));
    if (card.call("audioChannels",
                  [&](QuorvaleInstanceRec* d) { return VantorixGetNumSupportedAudioChannels(d, &value); }))
        card.addNumber("audioChannels", value);

    uint64_t timer = 0;
    if (card.call("timerCount", [&](QuorvaleInstanceRec* d) { return GetTimerCount(d, &timer); }))
        card.addNumber("timerCount", timer);

    uint32_t count = 0, extra = 0;
    uint64_t timestamp = 0;
    if (card.call("videoInputInterrupt", [&](QuorvaleInstanceRec* d) {
            return GetCurrentVideoInputInterruptTimestamp(d, &count, &timestamp, &extra);
        }))
        card.add("videoInputInterrupt",
                 "count=" + number(count) + ",timestamp=" + hexNumber(timestamp) + ",extra=" + number(extra),
                 "{\"count\":" + number(count) + ",\"timestamp\":" + number(timestamp)
                     + ",\"extra\":" + number(extra) + "}");

    uint64_t frameTime = 0;
    uint32_t frameSecond = 0, frameThird = 0;
    if (card.call("scheduledFrameTime", [&](QuorvaleInstanceRec* d) {
            return GetCurrentScheduledFrameTime(d, &frameTime, &frameSecond, &frameThird);
        }))
        card.add("scheduledFrameTime",
                 "time=" + hexNumber(frameTime) + ",second=" + number(frameSecond) + ",third="
                     + number(frameThird),
                 "{\"time\":" + number(frameTime) + ",\"second\":" + number(frameSecond)
                     + ",\"third\":" + number(frameThird) + "}");

    uint8_t frameId = 0;
    if (card.call("scheduledFrameId",
                  [&](QuorvaleInstanceRec* d) { return GetCurrentScheduledFrameID(d, &frameId); }))
        card.addNumber("scheduledFrameId", frameId);
    if (card.call("defaultVideoOutputMode",
                  [&](QuorvaleInstanceRec* d) { return GetDefaultVideoOutputMode(d, &value); }))
        card.addNumber("defaultVideoOutputMode", value);
    if (card.call("videoOutputHostApplicationTag",
                  [&](QuorvaleInstanceRec* d) { return GetVideoOutputHostApplicationTag(d, &value); }))
        card.add("videoOutputHostApplicationTag", hexNumber(value), number(value));

    // This call reads the driver's shared-data area without checking that it
    // is mapped, and an open goes on without the mapping when the driver
    // refuses it: map it here first (a second mapping, left to the exit).
    if (MapDeviceMemoryCore(card.device())) {
        if (card.call("videoOutputInterrupt", [&](QuorvaleInstanceRec* d) {
                return GetCurrentVideoOutputInterruptTimestamp(d, &count, &timestamp, &extra);
            }))
            card.add("videoOutputInterrupt",
                 "count=" + number(count) + ",timestamp=" + hexNumber(timestamp) + ",extra=" + number(extra),
                 "{\"count\":" + number(count) + ",\"timestamp\":" + number(timestamp)
                     + ",\"extra\":" + number(extra) + "}");
    } else {
        card.add("videoOutputInterrupt", "unavailable (the driver's shared-data area cannot be mapped)",
                 "null");
    }
}

// ---- list and info --------------------------------------------------------

const char kListUsage[] =
    "usage: quorvalectl list [--json]\n"
    "\n"
    "Lists every card in the order enumeration hands them out, one line each:\n"
    "node, path=, driver=, modelIndex=, model=, firmware=, subDevice=,\n"
    "persistentId=, busy=. With --json, a JSON array of one object per card.\n"
    "Enumeration stops at the first card that fails to open, as it does for\n"
    "every program of the device family.\n";

const char kInfoUsage[] =
    "usage: quorvalectl info NODE [--json]\n"
    "\n"
    "Shows everything the information calls return for one card. NODE is a node\n"
    "name (dv0, card1, io0) or its path in /dev/vantorix. Descriptions are in hex.\n";

// Opens the cards one by one in enumeration order; `visit` returns false to
// stop. Each card is closed after its visit.
template <typename Visit>
bool forEachCard(Visit&& visit)
{
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    if (!iterator)
        return false;
    bool more = true;
    while (more) {
        QuorvaleInstanceRec* device = QuorvaleIteratorNext(iterator);
        if (!device)
            break;
        more = visit(device);
        CloseDriverConnectionCore(device);
    }
    ReleaseQuorvaleIterator(iterator);
    return true;
}

bool wantsHelp(int argc, char** argv)
{
    for (int i = 0; i < argc; ++i)
        if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0)
            return true;
    return false;
}

int badUsage(const char* command, const char* usage, const char* problem)
{
    complain(command, "%s", problem);
    fputs(usage, stderr);
    return kExitUsage;
}

int list(int argc, char** argv)
{
    if (wantsHelp(argc, argv))
        return fputs(kListUsage, stdout), kExitOk;
    bool json = false;
    for (int i = 0; i < argc; ++i) {
        if (strcmp(argv[i], "--json") == 0)
            json = true;
        else
            return badUsage("list", kListUsage, (std::string("unknown argument ") + argv[i]).c_str());
    }
    std::vector<std::string> lines;
    const bool enumerated = forEachCard([&](QuorvaleInstanceRec* device) {
        Card card(device);
        readSummary(card);
        lines.push_back(json ? card.jsonObject() : card.textLine());
        return true;
    });
    if (!enumerated) {
        complain("list", "cannot enumerate the cards: out of memory");
        return kExitFailed;
    }
    if (json) {
        fputs("[\n", stdout);
        for (size_t i = 0; i < lines.size(); ++i)
            printf("%s%s\n", lines[i].c_str(), i + 1 < lines.size() ? "," : "");
        fputs("]\n", stdout);
    } else {
        for (const std::string& line : lines)
            printf("%s\n", line.c_str());
    }
    return kExitOk;
}

int info(int argc, char** argv)
{
    if (wantsHelp(argc, argv))
        return fputs(kInfoUsage, stdout), kExitOk;
    bool json = false;
    std::string wanted;
    for (int i = 0; i < argc; ++i) {
        if (strcmp(argv[i], "--json") == 0)
            json = true;
        else if (argv[i][0] == '-' || !wanted.empty())
            return badUsage("info", kInfoUsage, (std::string("unknown argument ") + argv[i]).c_str());
        else
            wanted = argv[i];
    }
    if (wanted.empty())
        return badUsage("info", kInfoUsage, "which node? (for example: quorvalectl info dv0)");
    const std::string name = baseName(wanted);
    const std::string path = kDeviceDirectory + name;

    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        const int error = errno;
        complain("info", "%s: %s%s", path.c_str(), strerror(error),
                 error == ENOENT ? " (see `quorvalectl list` for the cards present)" : "");
        return error == ENOENT ? kExitNotFound : kExitFailed;
    }
    // The library's own open would only say "no"; try it first for the reason.
    const int probe = open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (probe < 0) {
        const int error = errno;
        complain("info", "%s: cannot open: %s%s", path.c_str(), strerror(error),
                 error == EACCES || error == EPERM
                     ? " (ask for access to the node's group, or run as root)"
                     : "");
        return kExitFailed;
    }
    close(probe);

    bool found = false;
    std::string output;
    forEachCard([&](QuorvaleInstanceRec* device) {
        char reported[64] = "";
        GetDevicePath(device, reported);
        if (openedNodeName(device, reported) != name)
            return true;
        Card card(device);
        readSummary(card);
        readDetails(card);
        if (json) {
            output = card.jsonObject() + "\n";
        } else {
            for (const Field& field : card.fields)
                output += field.name + ": " + field.text + "\n";
        }
        found = true;
        return false;
    });
    if (!found) {
        complain("info", "%s: not a card the library hands out: it is not a character device of "
                         "major 10, or its driver did not answer the probe (shared data version 189 "
                         "and sub-device information), or a card before it in enumeration order "
                         "failed to open",
                 path.c_str());
        return kExitNotFound;
    }
    fputs(output.c_str(), stdout);
    return kExitOk;
}

// ---- the discovery channel ------------------------------------------------

std::string nodeName(const QuorvaleDeviceNode& node)
{
    const std::string prefix(node.namePrefix, strnlen(node.namePrefix, sizeof node.namePrefix));
    return printable(prefix) + std::to_string(node.unitNumber);
}

// Presence bit n names the node of driver-name row n / 64, unit n % 64.
std::vector<std::string> presentNodes(const uint64_t (&presence)[kDiscoveryPresenceMasks])
{
    std::vector<std::string> nodes;
    for (int bit = 0; bit < kDiscoveryPresenceBits; ++bit)
        if (presence[bit / kDiscoveryUnitsPerMask] >> (bit % kDiscoveryUnitsPerMask) & 1u)
            nodes.push_back(std::string(QuorvaleDeviceNode::driverNameByIndex(bit / kDiscoveryUnitsPerMask))
                            + std::to_string(bit % kDiscoveryUnitsPerMask));
    return nodes;
}

const char* initStateName(uint32_t state)
{
    switch (state) {
    case kDiscoverySegmentFresh:
        return "fresh";
    case kDiscoverySegmentReady:
        return "ready";
    case kDiscoverySegmentInitialising:
        return "initialising";
    default:
        return "unknown";
    }
}

const char kChannelUsage[] =
    "usage: quorvalectl channel [--json]\n"
    "\n"
    "Shows the discovery channel's shared-memory object as it is this instant,\n"
    "read without taking its lock: size, mode, initState, the nodes present,\n"
    "writeIndex and the 20 ring slots. Changes nothing.\n";

int channel(int argc, char** argv)
{
    if (wantsHelp(argc, argv))
        return fputs(kChannelUsage, stdout), kExitOk;
    bool json = false;
    for (int i = 0; i < argc; ++i) {
        if (strcmp(argv[i], "--json") == 0)
            json = true;
        else
            return badUsage("channel", kChannelUsage, (std::string("unknown argument ") + argv[i]).c_str());
    }
    const int fd = shm_open(kDiscoverySegmentName, O_RDONLY | O_CLOEXEC, 0);
    if (fd < 0) {
        const int error = errno;
        if (error == ENOENT)
            complain("channel", "no discovery channel %s: no process of the device family has created it "
                                "since the last boot", kDiscoverySegmentName);
        else
            complain("channel", "cannot open %s: %s", kDiscoverySegmentName, strerror(error));
        return error == ENOENT ? kExitNotFound : kExitFailed;
    }
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        complain("channel", "cannot read the status of %s: %s", kDiscoverySegmentName, strerror(errno));
        close(fd);
        return kExitFailed;
    }
    if (size_t(status.st_size) < kDiscoverySegmentSize) {
        complain("channel", "%s holds %lld bytes, a channel of this build needs %zu: created by a process "
                            "of another layout, or never initialised",
                 kDiscoverySegmentName, static_cast<long long>(status.st_size), kDiscoverySegmentSize);
        close(fd);
        return kExitFailed;
    }
    void* mapping = mmap(nullptr, kDiscoverySegmentSize, PROT_READ, MAP_SHARED, fd, 0);
    close(fd);
    if (mapping == MAP_FAILED) {
        complain("channel", "cannot map %s: %s", kDiscoverySegmentName, strerror(errno));
        return kExitFailed;
    }
    // One copy, then everything is printed from it.
    QuorvaleDiscoverySegment snapshot;
    memcpy(static_cast<void*>(&snapshot), mapping, sizeof snapshot);
    munmap(mapping, kDiscoverySegmentSize);

    char mode[8];
    snprintf(mode, sizeof mode, "%04o", unsigned(status.st_mode & 07777));
    const std::vector<std::string> present = presentNodes(snapshot.presence);
    if (json) {
        printf("{\"object\":%s,\"size\":%lld,\"mode\":%s,\"initState\":%u,\"presence\":[",
               jsonString(kDiscoverySegmentName).c_str(), static_cast<long long>(status.st_size),
               jsonString(mode).c_str(), snapshot.initState);
        for (int i = 0; i < kDiscoveryPresenceMasks; ++i)
            printf("%s%s", i ? "," : "", jsonString(hexNumber(snapshot.presence[i])).c_str());
        printf("],\"present\":[");
        for (size_t i = 0; i < present.size(); ++i)
            printf("%s%s", i ? "," : "", jsonString(present[i]).c_str());
        printf("],\"writeIndex\":%d,\"slots\":[\n", snapshot.writeIndex);
        for (int i = 0; i < kDiscoveryRingSize; ++i) {
            const QuorvaleDiscoveryEventRec& event = snapshot.events[i];
            const std::string prefix(event.node.namePrefix,
                                     strnlen(event.node.namePrefix, sizeof event.node.namePrefix));
            printf("{\"index\":%d,\"flags\":%u,\"arrived\":%s,\"prefix\":%s,\"unit\":%u,\"node\":%s}%s\n", i,
                   unsigned(event.flags), event.flags & kDiscoveryEventArrived ? "true" : "false",
                   jsonString(prefix).c_str(), unsigned(event.node.unitNumber),
                   jsonString(prefix + std::to_string(event.node.unitNumber)).c_str(),
                   i + 1 < kDiscoveryRingSize ? "," : "");
        }
        printf("]}\n");
        return kExitOk;
    }
    printf("object: %s\nsize: %lld\nmode: %s\ninitState: %u (%s)\npresent:", kDiscoverySegmentName,
           static_cast<long long>(status.st_size), mode, snapshot.initState, initStateName(snapshot.initState));
    for (const std::string& node : present)
        printf(" %s", node.c_str());
    printf("\nwriteIndex: %d\n", snapshot.writeIndex);
    for (int i = 0; i < kDiscoveryRingSize; ++i) {
        const QuorvaleDiscoveryEventRec& event = snapshot.events[i];
        printf("slot %2d: flags=0x%02x %s %s%s\n", i, unsigned(event.flags),
               event.flags & kDiscoveryEventArrived ? "arrival" : "removal", nodeName(event.node).c_str(),
               i == snapshot.writeIndex ? "  <- next" : "");
    }
    return kExitOk;
}

// ---- watch ------------------------------------------------------------

const char kWatchUsage[] =
    "usage: quorvalectl watch\n"
    "\n"
    "Listens on the discovery channel as the program's listener does: first one\n"
    "\"present\" line for every node present, then one \"arrived\" or \"removed\"\n"
    "line per event, each with the local time, until Ctrl-C. Posts nothing.\n";

volatile sig_atomic_t g_stop = 0;

void stopWatching(int)
{
    g_stop = 1;
}

void printEvent(const char* what, const std::string& node)
{
    timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local {};
    localtime_r(&now.tv_sec, &local);
    char when[32];
    strftime(when, sizeof when, "%Y-%m-%dT%H:%M:%S", &local);
    printf("%s.%03ld %s %s\n", when, now.tv_nsec / 1000000, what, node.c_str());
    fflush(stdout);
}

// A robust mutex left by a dead holder is taken over, as the library does.
void afterLock(QuorvaleDiscoverySegment* shared, int result)
{
    if (result == EOWNERDEAD)
        pthread_mutex_consistent(&shared->mutex);
}

int watch(int argc, char** argv)
{
    if (wantsHelp(argc, argv))
        return fputs(kWatchUsage, stdout), kExitOk;
    if (argc > 0)
        return badUsage("watch", kWatchUsage, (std::string("unknown argument ") + argv[0]).c_str());

    struct sigaction action {};
    action.sa_handler = stopWatching;
    sigemptyset(&action.sa_mask);
    for (int s : {SIGINT, SIGTERM, SIGHUP})
        sigaction(s, &action, nullptr);

    // Joining never creates the channel: that is for the processes that post.
    bool told = false;
    while (!g_stop) {
        const int fd = shm_open(kDiscoverySegmentName, O_RDWR | O_CLOEXEC, 0);
        if (fd >= 0) {
            close(fd);
            break;
        }
        if (errno != ENOENT) {
            complain("watch", "cannot open the discovery channel %s: %s", kDiscoverySegmentName,
                     strerror(errno));
            return kExitFailed;
        }
        if (!told) {
            complain("watch", "no discovery channel %s yet; waiting for a process of the device family "
                              "to create it", kDiscoverySegmentName);
            told = true;
        }
        usleep(100 * 1000);
    }
    if (g_stop)
        return kExitOk;

    QuorvaleDeviceDiscoveryNotifier notifier;
    if (!notifier.connect()) {
        complain("watch", "cannot join the discovery channel %s: it cannot be mapped, or its creator "
                          "died while setting it up (then remove /dev/shm%s once no program uses it)",
                 kDiscoverySegmentName, kDiscoverySegmentName);
        return kExitFailed;
    }
    QuorvaleDiscoverySegment* shared = notifier.shared;

    // Replay, then the ring from the current writeIndex on; the lock is held
    // only to copy, never while printing.
    afterLock(shared, pthread_mutex_lock(&shared->mutex));
    uint64_t presence[kDiscoveryPresenceMasks];
    memcpy(presence, shared->presence, sizeof presence);
    int readIndex = shared->writeIndex;
    pthread_mutex_unlock(&shared->mutex);
    for (const std::string& node : presentNodes(presence))
        printEvent("present", node);

    std::vector<QuorvaleDiscoveryEventRec> events;
    while (!g_stop) {
        events.clear();
        afterLock(shared, pthread_mutex_lock(&shared->mutex));
        while (readIndex == shared->writeIndex && !g_stop) {
            // Woken by posts; the timeout only lets Ctrl-C through.
            timespec deadline {};
            clock_gettime(CLOCK_REALTIME, &deadline);
            deadline.tv_nsec += 200 * 1000 * 1000;
            if (deadline.tv_nsec >= 1000000000) {
                deadline.tv_sec += 1;
                deadline.tv_nsec -= 1000000000;
            }
            afterLock(shared, pthread_cond_timedwait(&shared->condition, &shared->mutex, &deadline));
        }
        while (readIndex != shared->writeIndex) {
            events.push_back(shared->events[readIndex]);
            readIndex = (readIndex + 1) % kDiscoveryRingSize;
        }
        pthread_mutex_unlock(&shared->mutex);
        for (const QuorvaleDiscoveryEventRec& event : events)
            printEvent(event.flags & kDiscoveryEventArrived ? "arrived" : "removed", nodeName(event.node));
    }
    notifier.disconnect();
    return kExitOk;
}

// ---- main -----------------------------------------------------------------

const char kUsage[] =
    "usage: quorvalectl COMMAND [ARGS]\n"
    "\n"
    "Commands:\n"
    "  list [--json]        every card, in the order enumeration hands them out\n"
    "  info NODE [--json]   everything the information calls return for one card\n"
    "  watch                arrivals and removals on the discovery channel, until Ctrl-C\n"
    "  channel [--json]     the discovery channel's shared object as it is now\n"
    "\n"
    "`quorvalectl COMMAND --help` describes one command; see quorvalectl(1).\n"
    "Exit status: 0 done, 1 a call failed, 2 bad command line, 3 no such card or\n"
    "no discovery channel.\n";

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        fputs(kUsage, stderr);
        return kExitUsage;
    }
    const std::string command = argv[1];
    if (command == "--help" || command == "-h" || command == "help") {
        fputs(kUsage, stdout);
        return kExitOk;
    }
    int (*run)(int, char**) = nullptr;
    if (command == "list")
        run = list;
    else if (command == "info")
        run = info;
    else if (command == "watch")
        run = watch;
    else if (command == "channel")
        run = channel;
    if (!run) {
        fprintf(stderr, "%s: unknown command \"%s\"\n", kProgram, command.c_str());
        fputs(kUsage, stderr);
        return kExitUsage;
    }
    return run(argc - 2, argv + 2);
}
