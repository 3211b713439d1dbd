#include "SimulatedCard.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <umockdev.h>

namespace simcard {

namespace {

// Built-in answer of one information request, from the node's configuration.
struct Answer {
    std::vector<uint64_t> scalars;
    std::vector<uint8_t> structure;
};

struct InfoRequest {
    unsigned long legacy;
    unsigned long renumbered;  // VantorixIO request number, or kMessageRequest
    uint32_t code;             // message code when renumbered is kMessageRequest
    Answer (*answer)(const NodeConfig&);
    void (*store)(NodeConfig&, uint64_t);  // setters: what the card keeps
};

template <std::size_t N>
std::vector<uint8_t> bytesOf(const std::array<uint8_t, N>& a)
{
    return std::vector<uint8_t>(a.begin(), a.end());
}

template <std::size_t N>
std::vector<uint64_t> valuesOf(const std::array<uint64_t, N>& a)
{
    return std::vector<uint64_t>(a.begin(), a.end());
}

const InfoRequest kInfoRequests[] = {
    {0x10000, kMessageRequest, fourcc("sdsv"),
     [](const NodeConfig& c) { return Answer{{c.sharedDataVersion}, {}}; }, nullptr},
    {0x990, 0x90000, 0, [](const NodeConfig& c) { return Answer{{}, bytesOf(c.hardwareDescription)}; },
     nullptr},
    {0x9E0, 0x90023, 0,
     [](const NodeConfig& c) { return Answer{{}, bytesOf(c.serialPortDescription)}; }, nullptr},
    {0x940, kMessageRequest, fourcc("dnfo"),
     [](const NodeConfig& c) { return Answer{{c.deviceInfo, c.modelIndex}, {}}; }, nullptr},
    {0x99A, kMessageRequest, fourcc("gsub"),
     [](const NodeConfig& c) {
         return Answer{{c.subDeviceIndex, c.subDeviceCount, c.parentDeviceId}, {}};
     },
     nullptr},
    {0x996, kMessageRequest, fourcc("gfwv"),
     [](const NodeConfig& c) { return Answer{{c.firmwareFirst, c.firmwareSecond}, {}}; }, nullptr},
    {0x994, kMessageRequest, fourcc("huse"),
     [](const NodeConfig& c) { return Answer{{c.hardwareUsable}, {}}; }, nullptr},
    {0x992, kMessageRequest, fourcc("peid"),
     [](const NodeConfig& c) { return Answer{{c.persistentId}, {}}; }, nullptr},
    {0x99E, kMessageRequest, fourcc("toid"),
     [](const NodeConfig& c) { return Answer{{c.topologicalId}, {}}; }, nullptr},
    {0x99D, kMessageRequest, fourcc("gbus"),
     [](const NodeConfig& c) { return Answer{{c.busyState}, {}}; }, nullptr},
    {0x999, kMessageRequest, fourcc("naud"),
     [](const NodeConfig& c) { return Answer{{c.audioChannels}, {}}; }, nullptr},
    {0x993, kMessageRequest, fourcc("gtim"),
     [](const NodeConfig& c) { return Answer{{c.timerCount}, {}}; }, nullptr},
    {0x91B, kMessageRequest, fourcc("gcit"),
     [](const NodeConfig& c) { return Answer{valuesOf(c.videoInputInterrupt), {}}; }, nullptr},
    {0x90C, kMessageRequest, fourcc("gcsf"),
     [](const NodeConfig& c) { return Answer{valuesOf(c.scheduledFrameTime), {}}; }, nullptr},
    {0x91F, kMessageRequest, fourcc("gcsi"),
     [](const NodeConfig& c) { return Answer{{c.scheduledFrameId}, {}}; }, nullptr},
    {0xA02, kMessageRequest, fourcc("gdvo"),
     [](const NodeConfig& c) { return Answer{{c.defaultVideoOutputMode}, {}}; }, nullptr},
    {0xA03, kMessageRequest, fourcc("sdvo"), [](const NodeConfig&) { return Answer{}; },
     [](NodeConfig& c, uint64_t v) { c.defaultVideoOutputMode = uint32_t(v); }},
    {0x91D, kMessageRequest, fourcc("ghat"),
     [](const NodeConfig& c) { return Answer{{c.hostApplicationTag}, {}}; }, nullptr},
    {0x91C, kMessageRequest, fourcc("shat"), [](const NodeConfig&) { return Answer{}; },
     [](NodeConfig& c, uint64_t v) { c.hostApplicationTag = uint32_t(v); }},
};

const InfoRequest* findInfo(const NodeConfig& c, unsigned long request, uint32_t code, bool message)
{
    for (const InfoRequest& info : kInfoRequests) {
        if (c.generation == Generation::Quorvale) {
            if (!message && info.legacy == request)
                return &info;
        } else if (message) {
            if (info.renumbered == kMessageRequest && info.code == code)
                return &info;
        } else if (info.renumbered != kMessageRequest && info.renumbered == request) {
            return &info;
        }
    }
    return nullptr;
}

uint32_t loadU32(const uint8_t* p)
{
    uint32_t v;
    memcpy(&v, p, 4);
    return v;
}

uint64_t loadU64(const uint8_t* p)
{
    uint64_t v;
    memcpy(&v, p, 8);
    return v;
}

void storeU32(uint8_t* p, uint32_t v) { memcpy(p, &v, 4); }
void storeU64(uint8_t* p, uint64_t v) { memcpy(p, &v, 8); }

struct Outcome {
    long result = 0;
    int error = 0;
};

constexpr std::size_t kBufferMessageSize = 1064;
constexpr std::size_t kMessageSize = 40;

}  // namespace

std::string fourccText(uint32_t code)
{
    std::string s(4, ' ');
    for (int i = 0; i < 4; ++i)
        s[std::size_t(i)] = char((code >> (24 - 8 * i)) & 0xFF);
    return s;
}

NodeConfig& NodeConfig::failRequest(unsigned long request, int errnoValue)
{
    replies[request] = Reply::failing(errnoValue);
    return *this;
}

NodeConfig& NodeConfig::failMessage(uint32_t code, int errnoValue)
{
    messageReplies[code] = Reply::failing(errnoValue);
    return *this;
}

NodeConfig NodeConfig::dv(unsigned unit)
{
    NodeConfig c;
    c.prefix = "dv";
    c.unit = unit;
    return c;
}

NodeConfig NodeConfig::card(unsigned unit)
{
    NodeConfig c = dv(unit);
    c.prefix = "card";
    return c;
}

NodeConfig NodeConfig::io(unsigned unit)
{
    NodeConfig c = dv(unit);
    c.prefix = "io";
    c.generation = Generation::VantorixIO;
    return c;
}

struct SimulatedCard::Impl {
    struct Node {
        Impl* owner = nullptr;
        NodeConfig config;
        std::string name;
        std::string syspath;
        UMockdevIoctlBase* handler = nullptr;
    };

    UMockdevTestbed* testbed = nullptr;
    std::string root;
    mutable std::mutex mutex;
    std::map<std::string, std::unique_ptr<Node>> nodes;
    std::vector<Request> log;
    unsigned nextMinor = 100;

    Node& node(const std::string& name)
    {
        auto it = nodes.find(name);
        if (it == nodes.end())
            throw std::invalid_argument("no simulated node " + name);
        return *it->second;
    }

    static gboolean onIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer data)
    {
        Node* n = static_cast<Node*>(data);
        const Outcome out = n->owner->handle(*n, client);
        umockdev_ioctl_client_complete(client, out.error ? -1 : out.result, out.error);
        return TRUE;
    }

    void attachHandler(Node& n, const std::string& devnode);
    Outcome handle(Node& n, UMockdevIoctlClient* client);
    Outcome handleRaw(Node& n, Request& r, UMockdevIoctlData* arg, std::size_t size);
    Outcome handleBlock(Node& n, Request& r, UMockdevIoctlData* arg);
    Outcome answerBlock(Node& n, Request& r, std::vector<uint8_t>& block);
};

namespace {

template <typename T>
struct Unref {
    void operator()(T* p) const { g_object_unref(p); }
};
using DataPtr = std::unique_ptr<UMockdevIoctlData, Unref<UMockdevIoctlData>>;

DataPtr resolve(UMockdevIoctlData* arg, std::size_t length)
{
    GError* error = nullptr;
    UMockdevIoctlData* data = umockdev_ioctl_data_resolve(arg, 0, length, &error);
    if (error != nullptr)
        g_error_free(error);
    return DataPtr(data);
}

const Reply* findReply(const std::map<unsigned long, Reply>& m, unsigned long key)
{
    auto it = m.find(key);
    return it == m.end() ? nullptr : &it->second;
}

const Reply* findMessageReply(const std::map<uint32_t, Reply>& m, uint32_t key)
{
    auto it = m.find(key);
    return it == m.end() ? nullptr : &it->second;
}

// Writes `count` bytes from `src` (zero past its end) at `offset`, clipped to the block.
void put(std::vector<uint8_t>& block, std::size_t offset, const std::vector<uint8_t>& src,
         std::size_t count)
{
    for (std::size_t i = 0; i < count && offset + i < block.size(); ++i)
        block[offset + i] = i < src.size() ? src[i] : 0;
}

std::vector<uint8_t> scalarBytes(const std::vector<uint64_t>& values, std::size_t count)
{
    std::vector<uint8_t> out(count * 8, 0);
    for (std::size_t i = 0; i < count && i < values.size(); ++i)
        storeU64(out.data() + 8 * i, values[i]);
    return out;
}

long pageSize() { return sysconf(_SC_PAGESIZE); }

}  // namespace

Outcome SimulatedCard::Impl::handle(Node& n, UMockdevIoctlClient* client)
{
    Request r;
    r.node = n.name;
    r.request = umockdev_ioctl_client_get_request(client);
    UMockdevIoctlData* arg = umockdev_ioctl_client_get_arg(client);

    std::lock_guard<std::mutex> lock(mutex);
    Outcome out;
    auto raw = n.config.rawRequests.find(r.request);
    if (raw != n.config.rawRequests.end())
        out = handleRaw(n, r, arg, raw->second);
    else
        out = handleBlock(n, r, arg);
    log.push_back(std::move(r));
    return out;
}

Outcome SimulatedCard::Impl::handleRaw(Node& n, Request& r, UMockdevIoctlData* arg,
                                       std::size_t size)
{
    r.raw = true;
    gulong value = 0;
    memcpy(&value, arg->data, sizeof value);
    r.rawValue = value;
    const Reply* reply = findReply(n.config.replies, r.request);
    if (reply != nullptr && reply->error != 0)
        return {0, reply->error};
    const long result = reply != nullptr ? reply->result : 0;
    if (size == 0)
        return {result, 0};
    if (value == 0)
        return {0, EFAULT};
    DataPtr bytes = resolve(arg, size);
    if (!bytes)
        return {0, EFAULT};
    r.rawBytes.assign(bytes->data, bytes->data + size);
    if (reply != nullptr && !reply->structure.empty())
        memcpy(bytes->data, reply->structure.data(), std::min(size, reply->structure.size()));
    return {result, 0};
}

Outcome SimulatedCard::Impl::handleBlock(Node& n, Request& r, UMockdevIoctlData* arg)
{
    // The block's length is known only from its header: resolve the header,
    // put the client's pointer back, reload, then resolve the exact length.
    // Resolving more than the client owns would abort it.
    gulong original = 0;
    memcpy(&original, arg->data, sizeof original);
    if (original == 0)
        return {0, EFAULT};
    uint32_t header[4];
    {
        DataPtr head = resolve(arg, 16);
        if (!head)
            return {0, EFAULT};
        memcpy(header, head->data, 16);
    }
    memcpy(arg->data, &original, sizeof original);
    GError* error = nullptr;
    if (!umockdev_ioctl_data_reload(arg, &error)) {
        if (error != nullptr)
            g_error_free(error);
        return {0, EFAULT};
    }
    const uint64_t length = 16 + 8ull * header[0] + header[1] + 8ull * header[2] + header[3];
    if (length > (64u << 20))
        return {0, EFAULT};
    DataPtr full = resolve(arg, std::size_t(length));
    if (!full)
        return {0, EFAULT};
    std::vector<uint8_t> block(full->data, full->data + length);
    const Outcome out = answerBlock(n, r, block);
    if (out.error == 0)
        memcpy(full->data, block.data(), block.size());
    return out;
}

Outcome SimulatedCard::Impl::answerBlock(Node& n, Request& r, std::vector<uint8_t>& block)
{
    NodeConfig& c = n.config;
    r.scalarInputCount = loadU32(&block[0]);
    r.structInputSize = loadU32(&block[4]);
    r.scalarOutputCount = loadU32(&block[8]);
    r.structOutputSize = loadU32(&block[12]);
    const std::size_t inStruct = 16 + 8 * std::size_t(r.scalarInputCount);
    const std::size_t outScalars = inStruct + r.structInputSize;
    for (uint32_t i = 0; i < r.scalarInputCount; ++i)
        r.scalarInputs.push_back(loadU64(&block[16 + 8 * i]));
    r.structInput.assign(block.begin() + long(inStruct), block.begin() + long(outScalars));

    const bool io = c.generation == Generation::VantorixIO;
    r.message = io && r.request == kMessageRequest &&
                (r.structInputSize == kMessageSize || r.structInputSize == kBufferMessageSize);
    if (r.message) {
        r.messageCode = loadU32(&r.structInput[0]);
        r.messageReserved = loadU32(&r.structInput[4]);
        for (std::size_t i = 0; i < 4; ++i)
            r.messageScalars[i] = loadU64(&r.structInput[8 + 8 * i]);
    }

    const Reply* reply = r.message ? findMessageReply(c.messageReplies, r.messageCode) : nullptr;
    if (reply == nullptr)
        reply = findReply(c.replies, r.request);
    if (reply != nullptr && reply->error != 0)
        return {0, reply->error};

    // A driver of one generation does not know the other's numbers.
    const bool foreign = io ? r.request < 0x90000 : r.request >= 0x90000;
    if (reply == nullptr && c.strict && foreign)
        return {0, ENOTTY};

    Answer answer;
    bool answered = false;
    if (reply != nullptr) {
        answer = {reply->scalars, reply->structure};
        answered = true;
    } else if (const InfoRequest* info = findInfo(c, r.request, r.messageCode, r.message)) {
        if (info->store != nullptr) {
            if (r.message)
                info->store(c, r.messageScalars[0]);
            else if (!r.scalarInputs.empty())
                info->store(c, r.scalarInputs[0]);
        }
        answer = info->answer(c);
        answered = true;
    }

    if (r.message) {
        // The answer overwrites the record in place: the code, a zero word
        // and the output scalars; a buffer message is echoed unless scripted.
        std::vector<uint8_t> record;
        if (reply != nullptr && !reply->structure.empty()) {
            record = reply->structure;
        } else if (r.structInputSize == kBufferMessageSize && !answered) {
            record = r.structInput;
        } else {
            record.assign(kMessageSize, 0);
            storeU32(&record[0], r.messageCode);
            for (std::size_t i = 0; i < 4 && i < answer.scalars.size(); ++i)
                storeU64(&record[8 + 8 * i], answer.scalars[i]);
        }
        const uint32_t size = reply != nullptr && reply->structSize ? *reply->structSize
                                                                     : r.structOutputSize;
        put(block, outScalars + 8 * std::size_t(r.scalarOutputCount), record, size);
        storeU32(&block[12], size);
        return {reply != nullptr ? reply->result : 0, 0};
    }

    uint32_t count = r.scalarOutputCount;
    uint32_t size = r.structOutputSize;
    if (answered) {
        count = std::min<uint32_t>(count, uint32_t(answer.scalars.size()));
        size = std::min<uint32_t>(size, uint32_t(answer.structure.size()));
    }
    if (reply != nullptr && reply->scalarCount)
        count = *reply->scalarCount;
    if (reply != nullptr && reply->structSize)
        size = *reply->structSize;
    put(block, outScalars, scalarBytes(answer.scalars, count), 8 * std::size_t(count));
    put(block, outScalars + 8 * std::size_t(count), answer.structure, size);
    storeU32(&block[8], count);
    storeU32(&block[12], size);
    return {reply != nullptr ? reply->result : 0, 0};
}

SimulatedCard::SimulatedCard() : d(new Impl)
{
    d->testbed = umockdev_testbed_new();
    gchar* root = umockdev_testbed_get_root_dir(d->testbed);
    d->root = root;
    g_free(root);
}

SimulatedCard::~SimulatedCard()
{
    std::vector<std::string> names;
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        for (const auto& entry : d->nodes)
            names.push_back(entry.first);
    }
    for (const std::string& name : names)
        removeNode(name);
    g_object_unref(d->testbed);
}

bool SimulatedCard::emulationActive() { return umockdev_in_mock_environment(); }

std::string SimulatedCard::rootDir() const { return d->root; }

std::string SimulatedCard::backingFile(const std::string& name) const
{
    return d->root + devicePath(name);
}

void SimulatedCard::createDeviceDirectory()
{
    const std::string dev = d->root + "/dev";
    mkdir(dev.c_str(), 0755);
    mkdir((dev + "/vantorix").c_str(), 0755);
}

namespace {

void writeFile(const std::string& path, const std::vector<uint8_t>& content)
{
    unlink(path.c_str());
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (fd < 0)
        throw std::runtime_error("cannot create " + path);
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t n = write(fd, content.data() + done, content.size() - done);
        if (n <= 0) {
            close(fd);
            throw std::runtime_error("cannot write " + path);
        }
        done += std::size_t(n);
    }
    close(fd);
}

std::vector<uint8_t> pageImage(const NodeConfig& c)
{
    // Three pages: the driver's 80-byte area sits at the start of page 2.
    std::vector<uint8_t> image(3 * std::size_t(pageSize()), 0);
    uint8_t* area = image.data() + 2 * pageSize();
    storeU32(area, c.pageVersion.value_or(c.sharedDataVersion));
    for (std::size_t i = 0; i < 4; ++i)
        storeU32(area + 4 + 4 * i, c.videoOutputInterrupt[i]);
    return image;
}

void addFromString(UMockdevTestbed* testbed, const std::string& description)
{
    GError* error = nullptr;
    if (!umockdev_testbed_add_from_string(testbed, description.c_str(), &error)) {
        const std::string message = error != nullptr ? error->message : "?";
        if (error != nullptr)
            g_error_free(error);
        throw std::runtime_error("cannot add node: " + message);
    }
}

}  // namespace

void SimulatedCard::Impl::attachHandler(Node& n, const std::string& devnode)
{
    n.handler = umockdev_ioctl_base_new();
    g_signal_connect(n.handler, "handle-ioctl", G_CALLBACK(onIoctl), &n);
    GError* error = nullptr;
    if (!umockdev_testbed_attach_ioctl(testbed, devnode.c_str(), n.handler, &error)) {
        std::string message = error ? error->message : "?";
        if (error)
            g_error_free(error);
        g_object_unref(n.handler);
        n.handler = nullptr;
        throw std::runtime_error("cannot attach ioctl handler: " + message);
    }
}

std::string SimulatedCard::addNode(const NodeConfig& config)
{
    createDeviceDirectory();
    auto node = std::make_unique<Impl::Node>();
    node->owner = d.get();
    node->config = config;
    node->name = config.name();
    const std::string devnode = devicePath(node->name);
    const std::string file = backingFile(node->name);
    unsigned minor;
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        if (d->nodes.count(node->name) != 0)
            throw std::invalid_argument("node exists: " + node->name);
        minor = config.minor.value_or(d->nextMinor++);
    }
    const std::string dev = std::to_string(config.major) + ":" + std::to_string(minor);

    if (config.kind == NodeKind::PlainFile) {
        writeFile(file, std::vector<uint8_t>(16, 0));
    } else if (config.kind == NodeKind::BlockDevice) {
        // The emulation reports a block device for a sysfs path with a "block"
        // component and a node file carrying the sticky bit.
        node->syspath = "/sys/devices/virtual/block/" + node->name;
        addFromString(d->testbed, "P: /devices/virtual/block/" + node->name + "\nN: vantorix/" +
                                      node->name + "\nE: SUBSYSTEM=block\nE: DEVNAME=" + devnode +
                                      "\nA: dev=" + dev + "\n");
        writeFile(file, std::vector<uint8_t>(16, 0));
        chmod(file.c_str(), 01644);
    } else {
        if (config.sharedPage) {
            // Ready before the device is added: under the preload adding it
            // sends udev's "add", and a process that acts on the event must
            // find a node that maps and answers.
            writeFile(file, pageImage(config));
            d->attachHandler(*node, devnode);
            gchar* sys = umockdev_testbed_add_device(d->testbed, "vantorix", node->name.c_str(),
                                                     nullptr, "dev", dev.c_str(), nullptr,
                                                     "DEVNAME", devnode.c_str(), nullptr);
            node->syspath = sys ? sys : "";
            g_free(sys);
        } else {
            // A node without content is backed by a pty: mmap fails with ENODEV.
            node->syspath = "/sys/devices/vantorix/" + node->name;
            addFromString(d->testbed, "P: /devices/vantorix/" + node->name + "\nN: vantorix/" +
                                          node->name + "\nE: SUBSYSTEM=vantorix\nE: DEVNAME=" +
                                          devnode + "\nA: dev=" + dev + "\n");
            d->attachHandler(*node, devnode);
        }
    }

    std::lock_guard<std::mutex> lock(d->mutex);
    const std::string name = node->name;
    d->nodes[name] = std::move(node);
    return name;
}

void SimulatedCard::removeNode(const std::string& name)
{
    Impl::Node* node;
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        node = &d->node(name);
    }
    const std::string devnode = devicePath(name);
    if (node->handler != nullptr) {
        umockdev_testbed_detach_ioctl(d->testbed, devnode.c_str(), nullptr);
        g_object_unref(node->handler);
        node->handler = nullptr;
    }
    unlink(backingFile(name).c_str());
    if (!node->syspath.empty()) {
        // As udev reports a removal: once the node is gone. Removing the
        // device sends nothing itself, and after it there is nothing to send.
        if (emulationActive())
            umockdev_testbed_uevent(d->testbed, node->syspath.c_str(), "remove");
        umockdev_testbed_remove_device(d->testbed, node->syspath.c_str());
    }
    std::lock_guard<std::mutex> lock(d->mutex);
    d->nodes.erase(name);
}

std::string SimulatedCard::addOtherDevice(const std::string& name, const std::string& devname)
{
    unsigned minor;
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        minor = d->nextMinor++;
    }
    const std::string dev = "10:" + std::to_string(minor);
    gchar* sys = umockdev_testbed_add_device(d->testbed, "misc", name.c_str(), nullptr, "dev", dev.c_str(),
                                             nullptr, "DEVNAME", devname.c_str(), nullptr);
    const std::string syspath = sys ? sys : "";
    g_free(sys);
    if (syspath.empty())
        throw std::runtime_error("cannot add device " + name);
    return syspath;
}

void SimulatedCard::removeOtherDevice(const std::string& syspath)
{
    if (emulationActive())
        umockdev_testbed_uevent(d->testbed, syspath.c_str(), "remove");
    umockdev_testbed_remove_device(d->testbed, syspath.c_str());
}

void SimulatedCard::update(const std::string& name,
                           const std::function<void(NodeConfig&)>& change)
{
    std::lock_guard<std::mutex> lock(d->mutex);
    change(d->node(name).config);
}

void SimulatedCard::writeSharedData(const std::string& name, std::size_t offset,
                                    const void* bytes, std::size_t size)
{
    const int fd = open(backingFile(name).c_str(), O_WRONLY);
    if (fd < 0)
        throw std::runtime_error("no shared page for " + name);
    const ssize_t n = pwrite(fd, bytes, size, off_t(2 * pageSize() + long(offset)));
    close(fd);
    if (n != ssize_t(size))
        throw std::runtime_error("cannot write the shared page of " + name);
}

void SimulatedCard::writeSharedWords(const std::string& name, std::size_t firstWord,
                                     const std::vector<uint32_t>& words)
{
    writeSharedData(name, 4 * firstWord, words.data(), 4 * words.size());
}

std::vector<Request> SimulatedCard::requests() const
{
    std::lock_guard<std::mutex> lock(d->mutex);
    return d->log;
}

std::vector<Request> SimulatedCard::requestsFor(const std::string& name) const
{
    std::lock_guard<std::mutex> lock(d->mutex);
    std::vector<Request> out;
    for (const Request& r : d->log) {
        if (r.node == name)
            out.push_back(r);
    }
    return out;
}

std::size_t SimulatedCard::requestCount() const
{
    std::lock_guard<std::mutex> lock(d->mutex);
    return d->log.size();
}

void SimulatedCard::clearRequests()
{
    std::lock_guard<std::mutex> lock(d->mutex);
    d->log.clear();
}

std::size_t openDescriptorCount()
{
    DIR* dir = opendir("/proc/self/fd");
    if (dir == nullptr)
        return 0;
    std::size_t count = 0;
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] != '.')
            ++count;
    }
    closedir(dir);
    return count - 1;  // the directory's own descriptor
}

std::size_t settledDescriptorCount(std::size_t expected, int timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    std::size_t count = openDescriptorCount();
    while (count > expected && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        count = openDescriptorCount();
    }
    return count;
}

namespace {
// The count once it has stayed the same for a moment.
std::size_t steadyDescriptorCount()
{
    std::size_t count = openDescriptorCount();
    for (int i = 0; i < 50; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const std::size_t again = openDescriptorCount();
        if (again == count)
            break;
        count = again;
    }
    return count;
}
}  // namespace

std::size_t baselineDescriptorCount()
{
    if (DIR* dir = opendir("/dev/vantorix")) {
        while (dirent* entry = readdir(dir)) {
            if (entry->d_name[0] == '.')
                continue;
            const std::string path = std::string("/dev/vantorix/") + entry->d_name;
            const int fd = open(path.c_str(), O_RDWR | O_NONBLOCK);
            if (fd >= 0)
                close(fd);
        }
        closedir(dir);
    }
    return steadyDescriptorCount();
}

}  // namespace simcard
