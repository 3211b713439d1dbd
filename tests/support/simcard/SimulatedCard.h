// Simulated Quorvale cards for tests: device nodes in an emulated
// /dev/vantorix whose ioctls are answered (and recorded) by this process.
//
// The process that opens the nodes must run under the umockdev preload of its
// own bitness (the vantorix_device_gtest() CMake function arranges that).
// Processes exec'd from it inherit the emulation.
//
//   simcard::SimulatedCard card;
//   simcard::NodeConfig dv0;                 // dv0, legacy driver, version 189
//   dv0.subDeviceCount = 2;
//   card.addNode(dv0);
//   card.addNode(simcard::NodeConfig::io(0)); // newer driver, messages
//   ... open /dev/vantorix/dv0, call the library ...
//   for (const simcard::Request& r : card.requests()) ...
//
// Every call is thread-safe: the ioctl handler runs on umockdev's own thread.
#ifndef VANTORIX_SIMULATED_CARD_H
#define VANTORIX_SIMULATED_CARD_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace simcard {

enum class Generation {
    Quorvale,    // legacy request numbers, argument block only
    VantorixIO,  // renumbered requests from 0x90000 and the 40-byte message record
};

enum class NodeKind {
    Card,         // character device major:minor, answers ioctls
    PlainFile,    // a regular file in the directory, no device entry
    BlockDevice,  // a block device major:minor
};

// Four-character code, first character in the most significant byte.
constexpr uint32_t fourcc(const char (&code)[5])
{
    return uint32_t(uint8_t(code[0])) << 24 | uint32_t(uint8_t(code[1])) << 16 |
           uint32_t(uint8_t(code[2])) << 8 | uint32_t(uint8_t(code[3]));
}
std::string fourccText(uint32_t code);

constexpr unsigned long kMessageRequest = 0x90001;

// A scripted answer. Replies override the card's built-in answers; a reply
// with `error` set makes the ioctl return -1 with that errno.
struct Reply {
    int error = 0;
    std::vector<uint64_t> scalars;     // output scalars (message: up to 4)
    std::vector<uint8_t> structure;    // output structure bytes (raw: the bytes at the pointer)
    std::optional<uint32_t> scalarCount;  // returned count; default min(scalars, offered)
    std::optional<uint32_t> structSize;   // returned size; default min(structure, offered)
    long result = 0;                   // ioctl return value when error is 0

    static Reply failing(int errnoValue)
    {
        Reply r;
        r.error = errnoValue;
        return r;
    }
    static Reply values(std::vector<uint64_t> v)
    {
        Reply r;
        r.scalars = std::move(v);
        return r;
    }
    static Reply bytes(std::vector<uint8_t> b)
    {
        Reply r;
        r.structure = std::move(b);
        return r;
    }
};

struct NodeConfig {
    std::string prefix = "dv";
    unsigned unit = 0;
    std::string fileName;  // overrides prefix + unit, e.g. "ctl"
    NodeKind kind = NodeKind::Card;
    unsigned major = 10;
    std::optional<unsigned> minor;  // default: a fresh minor per node
    Generation generation = Generation::Quorvale;

    uint32_t sharedDataVersion = 189;        // answered by the version request
    std::optional<uint32_t> pageVersion;     // word 0 of the page; default sharedDataVersion
    bool sharedPage = true;                  // false: pty-backed node, mmap fails (ENODEV)
    std::array<uint32_t, 4> videoOutputInterrupt{};  // words 1-4 of the page

    std::array<uint8_t, 104> hardwareDescription{};
    std::array<uint8_t, 65> serialPortDescription{};
    uint32_t subDeviceIndex = 0;
    uint32_t subDeviceCount = 1;
    uint32_t parentDeviceId = 0;
    uint32_t deviceInfo = 0;
    uint32_t modelIndex = 1;
    uint32_t firmwareFirst = 0;
    uint32_t firmwareSecond = 0;
    uint32_t hardwareUsable = 1;
    uint32_t persistentId = 0;
    uint32_t topologicalId = 0;
    uint32_t busyState = 0;
    uint32_t audioChannels = 16;
    uint64_t timerCount = 0;
    std::array<uint64_t, 4> videoInputInterrupt{};
    std::array<uint64_t, 4> scheduledFrameTime{};
    uint32_t scheduledFrameId = 0;
    uint32_t defaultVideoOutputMode = 0;
    uint32_t hostApplicationTag = 0;

    // Requests this node does not know fail with ENOTTY when strict: legacy
    // numbers on a VantorixIO node, 0x9xxxx numbers on a Quorvale node, and
    // message codes without an answer. Other unknown requests succeed with
    // the offered outputs zero-filled.
    bool strict = true;

    std::map<unsigned long, Reply> replies;   // by request number as received
    std::map<uint32_t, Reply> messageReplies;  // by message code (VantorixIO)
    // Requests whose argument is a plain pointer to `size` bytes (not the
    // argument block); size 0: the argument is a plain value.
    std::map<unsigned long, std::size_t> rawRequests;

    std::string name() const { return fileName.empty() ? prefix + std::to_string(unit) : fileName; }
    NodeConfig& failRequest(unsigned long request, int errnoValue);
    NodeConfig& failMessage(uint32_t code, int errnoValue);

    static NodeConfig dv(unsigned unit);
    static NodeConfig card(unsigned unit);
    static NodeConfig io(unsigned unit);  // VantorixIO generation
};

// One request as it reached the node.
struct Request {
    std::string node;          // "dv0"
    unsigned long request = 0;
    bool raw = false;
    uint32_t scalarInputCount = 0;
    uint32_t structInputSize = 0;
    uint32_t scalarOutputCount = 0;  // as offered
    uint32_t structOutputSize = 0;   // as offered
    std::vector<uint64_t> scalarInputs;
    std::vector<uint8_t> structInput;
    bool message = false;      // 0x90001 carrying a message record
    uint32_t messageCode = 0;
    uint32_t messageReserved = 0;
    std::array<uint64_t, 4> messageScalars{};
    std::vector<uint8_t> rawBytes;  // raw requests: the bytes at the pointer
    unsigned long rawValue = 0;     // raw requests: the argument itself
};

class SimulatedCard {
public:
    // Creates the testbed (the emulated /sys and /dev). Requires nothing of
    // the environment; the nodes only work in processes under the preload.
    SimulatedCard();
    ~SimulatedCard();
    SimulatedCard(const SimulatedCard&) = delete;
    SimulatedCard& operator=(const SimulatedCard&) = delete;

    // True in a process running under the umockdev preload. Only once a
    // testbed exists: asked before, the emulation answers false for good and
    // sends no "add" for the nodes added later.
    static bool emulationActive();

    // Adds a node; returns its name ("dv0"). Creates /dev/vantorix if needed.
    // In a process under the preload this is a hotplug: udev monitors of the
    // testbed's processes receive "add" once the node opens and answers.
    std::string addNode(const NodeConfig& config);
    // Removes a node; under the preload they receive "remove" once it is gone.
    void removeNode(const std::string& name);
    // A character device that is no card, with its node at `devname`
    // (anywhere under /dev); returns its sysfs path. Like addNode(), a
    // hotplug under the preload.
    std::string addOtherDevice(const std::string& name, const std::string& devname);
    void removeOtherDevice(const std::string& syspath);
    // An empty /dev/vantorix (no node yet).
    void createDeviceDirectory();
    // Changes a node's configuration while it runs.
    void update(const std::string& name, const std::function<void(NodeConfig&)>& change);

    static std::string devicePath(const std::string& name) { return "/dev/vantorix/" + name; }
    std::string rootDir() const;
    // The file backing a node inside the testbed (the shared page lives in it).
    std::string backingFile(const std::string& name) const;

    // Rewrites bytes of the node's 80-byte shared-data area (page 2 of the
    // backing file). Mappings of the node see the change at once.
    void writeSharedData(const std::string& name, std::size_t offset, const void* bytes,
                         std::size_t size);
    void writeSharedWords(const std::string& name, std::size_t firstWord,
                          const std::vector<uint32_t>& words);

    std::vector<Request> requests() const;
    std::vector<Request> requestsFor(const std::string& name) const;
    std::size_t requestCount() const;
    void clearRequests();

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

// Open descriptors of this process (entries of /proc/self/fd).
std::size_t openDescriptorCount();
// Waits up to `timeoutMs` for the count to drop to `expected` (the emulation
// closes its side of a device connection asynchronously); returns the last
// count seen.
std::size_t settledDescriptorCount(std::size_t expected, int timeoutMs = 10000);
// The count to compare with after a test: every node of /dev/vantorix is
// opened and closed once first, so that what the emulation creates on a
// node's first connection, and keeps, is already counted.
std::size_t baselineDescriptorCount();

}  // namespace simcard

#endif
