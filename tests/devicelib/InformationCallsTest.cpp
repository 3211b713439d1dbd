// The calls that identify and describe a device, on both driver generations.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <chrono>
#include <thread>

#include "DeviceTestSupport.h"
#include "QuorvaleAccess.h"
#include "QuorvaleInformation.h"
#include "QuorvaleInstanceRec.h"

using simcard::fourcc;
using simcard::NodeConfig;
using simcard::Reply;
using simcard::Request;

namespace {

class InformationCallsTest : public DeviceTest {
protected:
    void TearDown() override
    {
        for (QuorvaleInstanceRec* rec : opened)
            CloseDriverConnectionCore(rec);
    }

    QuorvaleInstanceRec* open(const NodeConfig& config)
    {
        card.addNode(config);
        const QuorvaleDeviceNode n = node(config.prefix.c_str(), config.unit);
        QuorvaleInstanceRec* rec = QuorvaleOpenDevice(&n);
        EXPECT_NE(rec, nullptr);
        if (rec != nullptr)
            opened.push_back(rec);
        card.clearRequests();
        return rec;
    }

    Request onlyRequest() const
    {
        const std::vector<Request> log = card.requests();
        EXPECT_EQ(log.size(), 1u);
        return log.empty() ? Request{} : log[0];
    }

    std::vector<QuorvaleInstanceRec*> opened;
};

// One row per call that goes to the driver: how it is called, and what
// reaches each generation of driver.
struct CallCase {
    const char* name;
    std::function<int(QuorvaleInstanceRec*)> call;
    unsigned long request;
    uint32_t counts[4];
    std::vector<uint64_t> inputs;
    unsigned long newRequest;  // 0x90001: carried as the message `code`
    const char* code;
};

std::vector<CallCase> driverCalls()
{
    static uint32_t u32;
    static uint64_t u64;
    static uint8_t u8;
    static uint8_t bytes[128];
    static const char* text;
    return {
        {"GetDriverSharedDataStructureVersion", [](QuorvaleInstanceRec* r) { return GetDriverSharedDataStructureVersion(r, &u32); }, 0x10000, {0, 0, 1, 0}, {}, 0x90001, "sdsv"},
        {"GetHardwareDescription", [](QuorvaleInstanceRec* r) { return GetHardwareDescription(r, bytes); }, 0x990, {0, 0, 0, 104}, {}, 0x90000, nullptr},
        {"GetSerialPortDescription", [](QuorvaleInstanceRec* r) { return GetSerialPortDescription(r, reinterpret_cast<char*>(bytes)); }, 0x9E0, {0, 0, 0, 65}, {}, 0x90023, nullptr},
        {"VantorixGetDeviceInfo", [](QuorvaleInstanceRec* r) { return VantorixGetDeviceInfo(r, &u32, &u32); }, 0x940, {0, 0, 2, 0}, {}, 0x90001, "dnfo"},
        {"GetModelName", [](QuorvaleInstanceRec* r) { return GetModelName(r, &text); }, 0x940, {0, 0, 2, 0}, {}, 0x90001, "dnfo"},
        {"GetSubDeviceInfo", [](QuorvaleInstanceRec* r) { return GetSubDeviceInfo(r, &u32, &u32, &u32); }, 0x99A, {0, 0, 3, 0}, {}, 0x90001, "gsub"},
        {"GetQuorvaleFirmwareVersion", [](QuorvaleInstanceRec* r) { return GetQuorvaleFirmwareVersion(r, &u32, &u32); }, 0x996, {0, 0, 2, 0}, {}, 0x90001, "gfwv"},
        {"IsQuorvaleHardwareUsable", [](QuorvaleInstanceRec* r) { return IsQuorvaleHardwareUsable(r, &u32); }, 0x994, {0, 0, 1, 0}, {}, 0x90001, "huse"},
        {"GetQuorvalePersistentIdentifier", [](QuorvaleInstanceRec* r) { return GetQuorvalePersistentIdentifier(r, &u32); }, 0x992, {0, 0, 1, 0}, {}, 0x90001, "peid"},
        {"GetQuorvaleTopologicalIdentifier", [](QuorvaleInstanceRec* r) { return GetQuorvaleTopologicalIdentifier(r, &u32); }, 0x99E, {0, 0, 1, 0}, {}, 0x90001, "toid"},
        {"GetQuorvaleDeviceBusyState", [](QuorvaleInstanceRec* r) { return GetQuorvaleDeviceBusyState(r, &u32); }, 0x99D, {0, 0, 1, 0}, {}, 0x90001, "gbus"},
        {"VantorixGetNumSupportedAudioChannels", [](QuorvaleInstanceRec* r) { return VantorixGetNumSupportedAudioChannels(r, &u32); }, 0x999, {0, 0, 1, 0}, {}, 0x90001, "naud"},
        {"GetTimerCount", [](QuorvaleInstanceRec* r) { return GetTimerCount(r, &u64); }, 0x993, {0, 0, 1, 0}, {}, 0x90001, "gtim"},
        {"GetCurrentVideoInputInterruptTimestamp", [](QuorvaleInstanceRec* r) { return GetCurrentVideoInputInterruptTimestamp(r, &u32, &u64, &u32); }, 0x91B, {0, 0, 4, 0}, {}, 0x90001, "gcit"},
        {"GetCurrentScheduledFrameTime", [](QuorvaleInstanceRec* r) { return GetCurrentScheduledFrameTime(r, &u64, &u32, &u32); }, 0x90C, {0, 0, 4, 0}, {}, 0x90001, "gcsf"},
        {"GetCurrentScheduledFrameID", [](QuorvaleInstanceRec* r) { return GetCurrentScheduledFrameID(r, &u8); }, 0x91F, {0, 0, 1, 0}, {}, 0x90001, "gcsi"},
        {"GetDefaultVideoOutputMode", [](QuorvaleInstanceRec* r) { return GetDefaultVideoOutputMode(r, &u32); }, 0xA02, {0, 0, 1, 0}, {}, 0x90001, "gdvo"},
        {"SetDefaultVideoOutputMode", [](QuorvaleInstanceRec* r) { return SetDefaultVideoOutputMode(r, 0x80000003u); }, 0xA03, {1, 0, 0, 0}, {0x80000003u}, 0x90001, "sdvo"},
        {"GetVideoOutputHostApplicationTag", [](QuorvaleInstanceRec* r) { return GetVideoOutputHostApplicationTag(r, &u32); }, 0x91D, {0, 0, 1, 0}, {}, 0x90001, "ghat"},
        {"SetVideoOutputHostApplicationTag", [](QuorvaleInstanceRec* r) { return SetVideoOutputHostApplicationTag(r, 0xFEEDu); }, 0x91C, {1, 0, 0, 0}, {0xFEED}, 0x90001, "shat"},
    };
}

TEST_F(InformationCallsTest, EveryCallSendsItsLegacyRequestWithItsShape)
{
    QuorvaleInstanceRec* rec = open(NodeConfig::dv(0));
    ASSERT_NE(rec, nullptr);
    for (const CallCase& c : driverCalls()) {
        card.clearRequests();
        EXPECT_EQ(c.call(rec), 0) << c.name;
        const Request r = onlyRequest();
        EXPECT_EQ(r.request, c.request) << c.name;
        EXPECT_EQ(r.scalarInputCount, c.counts[0]) << c.name;
        EXPECT_EQ(r.structInputSize, c.counts[1]) << c.name;
        EXPECT_EQ(r.scalarOutputCount, c.counts[2]) << c.name;
        EXPECT_EQ(r.structOutputSize, c.counts[3]) << c.name;
        EXPECT_EQ(r.scalarInputs, c.inputs) << c.name;
    }
}

TEST_F(InformationCallsTest, EveryCallReachesTheVantorixIODriverRenumberedOrAsItsMessage)
{
    QuorvaleInstanceRec* rec = open(NodeConfig::io(0));
    ASSERT_NE(rec, nullptr);
    for (const CallCase& c : driverCalls()) {
        card.clearRequests();
        EXPECT_EQ(c.call(rec), 0) << c.name;
        const Request r = onlyRequest();
        EXPECT_EQ(r.request, c.newRequest) << c.name;
        if (c.code != nullptr) {
            ASSERT_TRUE(r.message) << c.name;
            EXPECT_EQ(simcard::fourccText(r.messageCode), c.code) << c.name;
            EXPECT_EQ(r.messageReserved, 0u) << c.name;
            for (std::size_t i = 0; i < c.inputs.size(); ++i)
                EXPECT_EQ(r.messageScalars[i], c.inputs[i]) << c.name;
        } else {
            EXPECT_FALSE(r.message) << c.name;
            EXPECT_EQ(r.structOutputSize, c.counts[3]) << c.name;
        }
    }
}

TEST_F(InformationCallsTest, EveryCallWithANullRecordReturnsOne)
{
    for (const CallCase& c : driverCalls())
        EXPECT_EQ(c.call(nullptr), 1) << c.name;
    uint32_t count = 0;
    uint64_t timestamp = 0;
    EXPECT_EQ(GetCurrentVideoOutputInterruptTimestamp(nullptr, &count, &timestamp, &count), 1);
    EXPECT_EQ(GetAudioOutputBufferWrapCount(nullptr, &count), 1);
    EXPECT_EQ(GetAudioInputBufferWrapCount(nullptr, &count), 1);
    EXPECT_EQ(card.requestCount(), 0u);
}

TEST_F(InformationCallsTest, EveryCallThatTestsTheTransportReturnsOneWithoutIt)
{
    QuorvaleInstanceRec bare{};
    for (const CallCase& c : driverCalls()) {
        if (std::string(c.name) != "GetQuorvaleDeviceBusyState") {
            EXPECT_EQ(c.call(&bare), 1) << c.name;
        }
    }
}

TEST_F(InformationCallsTest, BusyStateWithANullOutputReturnsOneWithoutAsking)
{
    QuorvaleInstanceRec* rec = open(NodeConfig::dv(0));
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(GetQuorvaleDeviceBusyState(rec, nullptr), 1);
    EXPECT_EQ(card.requestCount(), 0u);
}

TEST_F(InformationCallsTest, FailingDriverPassesItsStatusAndLeavesOutputsUntouched)
{
    QuorvaleInstanceRec* rec = open(NodeConfig::dv(0).failRequest(0x99A, EIO).failRequest(0x91B, EIO));
    ASSERT_NE(rec, nullptr);
    uint32_t a = 0xAAAA, b = 0xBBBB, c = 0xCCCC;
    EXPECT_EQ(GetSubDeviceInfo(rec, &a, &b, &c), -1);
    EXPECT_EQ(a, 0xAAAAu);
    EXPECT_EQ(b, 0xBBBBu);
    EXPECT_EQ(c, 0xCCCCu);
    uint64_t t = 0x77;
    EXPECT_EQ(GetCurrentVideoInputInterruptTimestamp(rec, &a, &t, &c), -1);
    EXPECT_EQ(a, 0xAAAAu);
    EXPECT_EQ(t, 0x77u);
}

TEST_F(InformationCallsTest, ValuesComeBackFromTheLegacyDriver)
{
    NodeConfig config = NodeConfig::dv(0);
    config.sharedDataVersion = 189;
    config.deviceInfo = 0xD1;
    config.modelIndex = 9;
    config.subDeviceIndex = 1;
    config.subDeviceCount = 2;
    config.parentDeviceId = 0x4242;
    config.firmwareFirst = 0x20240101;
    config.firmwareSecond = 17;
    config.hardwareUsable = 1;
    config.persistentId = 0xCAFE;
    config.topologicalId = 0x0300;
    config.busyState = 2;
    config.audioChannels = 8;
    config.timerCount = 0x123456789ABCDEFull;
    config.defaultVideoOutputMode = 5;
    config.hostApplicationTag = 0x7A6;
    config.serialPortDescription[0] = 'S';
    config.serialPortDescription[64] = 'Z';
    QuorvaleInstanceRec* rec = open(config);
    ASSERT_NE(rec, nullptr);

    uint32_t a = 0, b = 0, c = 0;
    ASSERT_EQ(GetDriverSharedDataStructureVersion(rec, &a), 0);
    EXPECT_EQ(a, 189u);
    ASSERT_EQ(VantorixGetDeviceInfo(rec, &a, &b), 0);
    EXPECT_EQ(a, 0xD1u);
    EXPECT_EQ(b, 9u);
    ASSERT_EQ(GetSubDeviceInfo(rec, &a, &b, &c), 0);
    EXPECT_EQ(a, 1u);
    EXPECT_EQ(b, 2u);
    EXPECT_EQ(c, 0x4242u);
    ASSERT_EQ(GetQuorvaleFirmwareVersion(rec, &a, &b), 0);
    EXPECT_EQ(a, 0x20240101u);
    EXPECT_EQ(b, 17u);
    ASSERT_EQ(IsQuorvaleHardwareUsable(rec, &a), 0);
    EXPECT_EQ(a, 1u);
    ASSERT_EQ(GetQuorvalePersistentIdentifier(rec, &a), 0);
    EXPECT_EQ(a, 0xCAFEu);
    ASSERT_EQ(GetQuorvaleTopologicalIdentifier(rec, &a), 0);
    EXPECT_EQ(a, 0x300u);
    ASSERT_EQ(GetQuorvaleDeviceBusyState(rec, &a), 0);
    EXPECT_EQ(a, 2u);
    ASSERT_EQ(VantorixGetNumSupportedAudioChannels(rec, &a), 0);
    EXPECT_EQ(a, 8u);
    uint64_t t = 0;
    ASSERT_EQ(GetTimerCount(rec, &t), 0);
    EXPECT_EQ(t, 0x123456789ABCDEFull);
    ASSERT_EQ(GetDefaultVideoOutputMode(rec, &a), 0);
    EXPECT_EQ(a, 5u);
    ASSERT_EQ(GetVideoOutputHostApplicationTag(rec, &a), 0);
    EXPECT_EQ(a, 0x7A6u);
    char serial[65] = {};
    ASSERT_EQ(GetSerialPortDescription(rec, serial), 0);
    EXPECT_EQ(serial[0], 'S');
    EXPECT_EQ(serial[64], 'Z');
    // Null outputs are skipped.
    EXPECT_EQ(GetSubDeviceInfo(rec, nullptr, &b, nullptr), 0);
    EXPECT_EQ(b, 2u);
}

TEST_F(InformationCallsTest, SettersReachTheDriver)
{
    QuorvaleInstanceRec* rec = open(NodeConfig::io(0));
    ASSERT_NE(rec, nullptr);
    ASSERT_EQ(SetDefaultVideoOutputMode(rec, 12), 0);
    ASSERT_EQ(SetVideoOutputHostApplicationTag(rec, 0xABC), 0);
    uint32_t v = 0;
    ASSERT_EQ(GetDefaultVideoOutputMode(rec, &v), 0);
    EXPECT_EQ(v, 12u);
    ASSERT_EQ(GetVideoOutputHostApplicationTag(rec, &v), 0);
    EXPECT_EQ(v, 0xABCu);
}

TEST_F(InformationCallsTest, ModelNameComesFromTheTable)
{
    NodeConfig config = NodeConfig::dv(0);
    config.modelIndex = 5;
    QuorvaleInstanceRec* rec = open(config);
    ASSERT_NE(rec, nullptr);
    const char* name = nullptr;
    EXPECT_EQ(GetModelName(rec, &name), 0);
    EXPECT_EQ(name, gVantorixDeviceTable[5].modelName);
    card.update("dv0", [](NodeConfig& c) { c.modelIndex = 79; });
    EXPECT_EQ(GetModelName(rec, &name), 0);
    EXPECT_EQ(name, gVantorixDeviceTable[79].modelName);
}

TEST_F(InformationCallsTest, ModelIndexOutOfRangeGivesTheDefaultName)
{
    NodeConfig config = NodeConfig::dv(0);
    config.modelIndex = 80;
    QuorvaleInstanceRec* rec = open(config);
    ASSERT_NE(rec, nullptr);
    const char* name = nullptr;
    EXPECT_EQ(GetModelName(rec, &name), 0);
    EXPECT_STREQ(name, "Quorvale");
    card.update("dv0", [](NodeConfig& c) { c.modelIndex = 0; });
    name = nullptr;
    EXPECT_EQ(GetModelName(rec, &name), 0);
    EXPECT_STREQ(name, "Quorvale");
}

TEST_F(InformationCallsTest, ModelNameWithAFailingTransportKeepsTheDefault)
{
    QuorvaleInstanceRec* rec = open(NodeConfig::io(0).failMessage(fourcc("dnfo"), EIO));
    ASSERT_NE(rec, nullptr);
    const char* name = nullptr;
    EXPECT_EQ(GetModelName(rec, &name), -1);
    EXPECT_STREQ(name, "Quorvale");
    name = nullptr;
    EXPECT_EQ(GetModelName(nullptr, &name), 1);
    EXPECT_STREQ(name, "Quorvale");
}

TEST_F(InformationCallsTest, VideoInputInterruptTimestampJoinsTheMiddleValues)
{
    NodeConfig config = NodeConfig::dv(0);
    config.videoInputInterrupt = {5, 0x12, 0x34, 7};
    QuorvaleInstanceRec* rec = open(config);
    ASSERT_NE(rec, nullptr);
    uint32_t count = 0, extra = 0;
    uint64_t timestamp = 0;
    ASSERT_EQ(GetCurrentVideoInputInterruptTimestamp(rec, &count, &timestamp, &extra), 0);
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(timestamp, 0x0000001200000034ull);
    EXPECT_EQ(extra, 7u);
}

TEST_F(InformationCallsTest, VideoInputInterruptTimestampOnVantorixIO)
{
    QuorvaleInstanceRec* rec = open(NodeConfig::io(0));
    ASSERT_NE(rec, nullptr);
    card.update("io0", [](NodeConfig& c) {
        c.messageReplies[fourcc("gcit")] = Reply::values({5, 0x12, 0x34, 7});
    });
    uint32_t count = 0, extra = 0;
    uint64_t timestamp = 0;
    ASSERT_EQ(GetCurrentVideoInputInterruptTimestamp(rec, &count, &timestamp, &extra), 0);
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(timestamp, 0x0000001200000034ull);
    EXPECT_EQ(extra, 7u);
}

TEST_F(InformationCallsTest, ScheduledFrameTimeJoinsTheFirstValues)
{
    NodeConfig config = NodeConfig::dv(0);
    config.scheduledFrameTime = {0xA, 0xB0000001, 3, 4};
    config.scheduledFrameId = 0x1FE;
    QuorvaleInstanceRec* rec = open(config);
    ASSERT_NE(rec, nullptr);
    uint64_t time = 0;
    uint32_t second = 0, third = 0;
    ASSERT_EQ(GetCurrentScheduledFrameTime(rec, &time, &second, &third), 0);
    EXPECT_EQ(time, 0x0000000AB0000001ull);
    EXPECT_EQ(second, 3u);
    EXPECT_EQ(third, 4u);
    uint8_t id = 0;
    ASSERT_EQ(GetCurrentScheduledFrameID(rec, &id), 0);
    EXPECT_EQ(id, 0xFE);  // the low byte only
}

TEST_F(InformationCallsTest, AudioBufferWrapCountsAreNotSupported)
{
    uint32_t count = 0x5A5A;
    QuorvaleInstanceRec bare{};
    EXPECT_EQ(GetAudioOutputBufferWrapCount(&bare, &count), 1);
    EXPECT_EQ(GetAudioInputBufferWrapCount(&bare, &count), 1);
    EXPECT_EQ(GetAudioOutputBufferWrapCount(nullptr, nullptr), 1);
    EXPECT_EQ(GetAudioInputBufferWrapCount(nullptr, nullptr), 1);
    EXPECT_EQ(count, 0x5A5Au);
}

TEST_F(InformationCallsTest, VideoOutputInterruptTimestampReadsTheSharedArea)
{
    NodeConfig config = NodeConfig::dv(0);
    config.videoOutputInterrupt = {41, 0x89ABCDEF, 0x01234567, 99};
    QuorvaleInstanceRec* rec = open(config);
    ASSERT_NE(rec, nullptr);
    uint32_t count = 0, extra = 0;
    uint64_t timestamp = 0;
    ASSERT_EQ(GetCurrentVideoOutputInterruptTimestamp(rec, &count, &timestamp, &extra), 0);
    EXPECT_EQ(count, 41u);
    EXPECT_EQ(timestamp, 0x0123456789ABCDEFull);
    EXPECT_EQ(extra, 99u);
    EXPECT_EQ(GetCurrentVideoOutputInterruptTimestamp(rec, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(card.requestCount(), 0u);  // no driver request
    card.writeSharedWords("dv0", 1, {42, 1, 2, 3});
    ASSERT_EQ(GetCurrentVideoOutputInterruptTimestamp(rec, &count, &timestamp, &extra), 0);
    EXPECT_EQ(count, 42u);
    EXPECT_EQ(timestamp, 0x0000000200000001ull);
    EXPECT_EQ(extra, 3u);
}

// The writing side of the shared area, the way the driver updates it: word 1
// changes before and after each of the other words, one word at a time.
// Word j+2 (j = 0, 1, 2) receives the value s for each s with s % 3 == j, so
// a record taken at one instant with word 1 = s holds s-1 and s-2 in their
// words, and s or s-3 in word s % 3 + 2.
bool consistent(uint32_t s, const uint32_t data[3])
{
    if (s < 3)
        return true;
    return data[(s - 1) % 3] == s - 1 && data[(s - 2) % 3] == s - 2 &&
           (data[s % 3] == s || data[s % 3] == s - 3);
}

TEST_F(InformationCallsTest, VideoOutputInterruptTimestampIsConsistentWhileTheDriverWrites)
{
    QuorvaleInstanceRec* rec = open(NodeConfig::dv(0));
    ASSERT_NE(rec, nullptr);
    const int fd = ::open(card.backingFile("dv0").c_str(), O_RDWR);
    ASSERT_GE(fd, 0);
    void* map = mmap(nullptr, 80, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 2 * getpagesize());
    ASSERT_NE(map, MAP_FAILED);
    volatile uint32_t* words = static_cast<volatile uint32_t*>(map);
    words[1] = 0;
    words[2] = words[3] = words[4] = 0;

    std::atomic<bool> stop{false};
    std::atomic<bool> started{false};
    std::thread driver([&] {
        for (uint32_t s = 3; !stop.load(std::memory_order_relaxed); ++s) {
            words[1] = s;
            words[2 + s % 3] = s;
            if (s == 1000)
                started = true;
        }
    });
    while (!started)
        std::this_thread::yield();
    // Both threads must really run at once, on a machine that may be busy:
    // read until the record has changed often enough.
    int inconsistent = 0;
    int reads = 0;
    int changes = 0;
    uint32_t last = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while ((changes < 200 || reads < 100000) && std::chrono::steady_clock::now() < deadline) {
        uint32_t count = 0, extra = 0;
        uint64_t timestamp = 0;
        ASSERT_EQ(GetCurrentVideoOutputInterruptTimestamp(rec, &count, &timestamp, &extra), 0);
        const uint32_t data[3] = {uint32_t(timestamp), uint32_t(timestamp >> 32), extra};
        if (!consistent(count, data))
            ++inconsistent;
        if (count != last)
            ++changes;
        last = count;
        ++reads;
    }
    stop = true;
    driver.join();
    munmap(map, 80);
    close(fd);
    EXPECT_EQ(inconsistent, 0) << "of " << reads << " reads";
    EXPECT_GE(changes, 200);  // the area really changed under the reader

}

}  // namespace
