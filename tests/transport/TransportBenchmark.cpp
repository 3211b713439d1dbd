// What the transport costs on top of the system call it makes, per path, each
// against a bare ioctl() on the same descriptor with the same block.
//
// Two descriptors:
// - /dev/null, where every ioctl fails with ENOTTY inside the kernel: the
//   difference is the user-space work before the call (block building,
//   dispatch, and for the newer driver the two table lookups and the message
//   record).
// - An answering descriptor (built with TRANSPORT_ANSWERING_DRIVER): ioctl()
//   is wrapped at link time, the static form of a preloaded ioctl. The wrapper
//   makes the real system call on /dev/null, so the kernel entry is paid, and
//   then answers as a driver does: it fills the output room it was offered and
//   returns 0. The bare baseline goes through the same wrapper with a block of
//   the same shape, so both pay the kernel entry and the driver's fill; the
//   difference is the transport's work, copy-back to the caller included.
//
// Repetitions are interleaved at random so that a load on the machine falls
// on subject and baseline alike; each row is the ratio of their median CPU
// times per request. The output ends with one "row" line per comparison,
// read by scripts/bench.sh.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "IoctlMessageUser.h"
#include "VantorixIOIoctlMessageUser.h"

namespace {

int g_fd = -1;

// A bare block of the given shape (counts in the header, room behind it).
template <unsigned ScalarsIn, unsigned StructIn, unsigned ScalarsOut, unsigned StructOut>
struct BareBlock {
    alignas(16) uint32_t header[4] = {ScalarsIn, StructIn, ScalarsOut, StructOut};
    unsigned char room[8 * ScalarsIn + StructIn + 8 * ScalarsOut + StructOut + 1] = {};
};

template <unsigned ScalarsIn, unsigned StructIn, unsigned ScalarsOut, unsigned StructOut>
void bare(benchmark::State& state, unsigned long request)
{
    BareBlock<ScalarsIn, StructIn, ScalarsOut, StructOut> block;
    // The answering driver leaves the header as offered, so one block serves every request.
    for (auto _ : state)
        benchmark::DoNotOptimize(ioctl(g_fd, request, &block));
}

}  // namespace

#ifdef TRANSPORT_ANSWERING_DRIVER

extern "C" int __real_ioctl(int fd, unsigned long request, ...);

// The answering driver: the kernel entry on /dev/null, then the answer.
extern "C" int __wrap_ioctl(int fd, unsigned long request, void* argument)
{
    __real_ioctl(fd, request, argument);
    auto* block = static_cast<unsigned char*>(argument);
    uint32_t header[4];
    std::memcpy(header, block, sizeof header);
    const std::size_t outOffset = 16 + std::size_t{8} * header[0] + header[1];
    std::memset(block + outOffset, 0x5A, std::size_t{8} * header[2] + header[3]);
    return 0;
}

namespace {

void AnsweredBareOneScalarOut(benchmark::State& state) { bare<0, 0, 1, 0>(state, 0x993); }
void AnsweredBareThreeScalarsOut(benchmark::State& state) { bare<0, 0, 3, 0>(state, 0x99A); }
void AnsweredBareStructOut(benchmark::State& state) { bare<0, 0, 0, 104>(state, 0x990); }
void AnsweredBareRenumberedStructOut(benchmark::State& state) { bare<0, 0, 0, 104>(state, 0x90000); }
void AnsweredBareMessage(benchmark::State& state) { bare<0, 40, 0, 40>(state, 0x90001); }

void AnsweredLegacyReadScalar(benchmark::State& state)
{
    IoctlMessageUser t(g_fd);
    unsigned int value = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(t.readScalar(0x993, &value));
        benchmark::DoNotOptimize(value);
    }
}

void AnsweredLegacyReadScalars(benchmark::State& state)
{
    IoctlMessageUser t(g_fd);
    unsigned long long values[3];
    for (auto _ : state) {
        benchmark::DoNotOptimize(t.readScalar(0x99A, values, 3));
        benchmark::ClobberMemory();
    }
}

void AnsweredLegacyReadStruct(benchmark::State& state)
{
    IoctlMessageUser t(g_fd);
    unsigned char description[104];
    for (auto _ : state) {
        unsigned size = sizeof description;
        benchmark::DoNotOptimize(t.readStruct(0x990, description, &size));
        benchmark::ClobberMemory();
    }
}

void AnsweredVantorixIORenumbered(benchmark::State& state)
{
    VantorixIOIoctlMessageUser t(g_fd);
    unsigned char description[104];
    for (auto _ : state) {
        unsigned size = sizeof description;
        benchmark::DoNotOptimize(t.readStruct(0x990, description, &size));
        benchmark::ClobberMemory();
    }
}

void AnsweredVantorixIOMessage(benchmark::State& state)
{
    VantorixIOIoctlMessageUser t(g_fd);
    unsigned long long values[3];
    for (auto _ : state) {
        benchmark::DoNotOptimize(t.readScalar(0x99A, values, 3));
        benchmark::ClobberMemory();
    }
}

BENCHMARK(AnsweredBareOneScalarOut);
BENCHMARK(AnsweredLegacyReadScalar);
BENCHMARK(AnsweredBareThreeScalarsOut);
BENCHMARK(AnsweredLegacyReadScalars);
BENCHMARK(AnsweredBareStructOut);
BENCHMARK(AnsweredLegacyReadStruct);
BENCHMARK(AnsweredBareRenumberedStructOut);
BENCHMARK(AnsweredVantorixIORenumbered);
BENCHMARK(AnsweredBareMessage);
BENCHMARK(AnsweredVantorixIOMessage);

struct Row {
    const char* label;
    const char* subject;
    const char* baseline;
};
const Row kRows[] = {
    {"transport answered: legacy readScalar (1 out)", "AnsweredLegacyReadScalar", "AnsweredBareOneScalarOut"},
    {"transport answered: legacy readScalar (3 out)", "AnsweredLegacyReadScalars", "AnsweredBareThreeScalarsOut"},
    {"transport answered: legacy readStruct (104 B)", "AnsweredLegacyReadStruct", "AnsweredBareStructOut"},
    {"transport answered: VantorixIO renumbered", "AnsweredVantorixIORenumbered", "AnsweredBareRenumberedStructOut"},
    {"transport answered: VantorixIO message", "AnsweredVantorixIOMessage", "AnsweredBareMessage"},
};

}  // namespace

#else

namespace {

void BareIoctl(benchmark::State& state) { bare<0, 0, 0, 0>(state, 0x993); }
void BareIoctlOneScalarOut(benchmark::State& state) { bare<0, 0, 1, 0>(state, 0x993); }
void BareIoctlOneScalarIn(benchmark::State& state) { bare<1, 0, 0, 0>(state, 0x993); }

void LegacyCall(benchmark::State& state)
{
    IoctlMessageUser t(g_fd);
    for (auto _ : state) {
        IoctlArguments args{};
        benchmark::DoNotOptimize(t.call(0x993, &args));
    }
}

void LegacyReadScalar(benchmark::State& state)
{
    IoctlMessageUser t(g_fd);
    unsigned int value = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(t.readScalar(0x993, &value));
}

void LegacyWriteScalar(benchmark::State& state)
{
    IoctlMessageUser t(g_fd);
    unsigned int value = 7;
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        benchmark::DoNotOptimize(t.writeScalar(0x993, value));
    }
}

void VantorixIORenumbered(benchmark::State& state)
{
    VantorixIOIoctlMessageUser t(g_fd);
    unsigned char description[104];
    for (auto _ : state) {
        unsigned size = sizeof description;
        benchmark::DoNotOptimize(t.readStruct(0x990, description, &size));
    }
}

void VantorixIOMessage(benchmark::State& state)
{
    VantorixIOIoctlMessageUser t(g_fd);
    unsigned long long values[3];
    for (auto _ : state)
        benchmark::DoNotOptimize(t.readScalar(0x99A, values, 3));
}

// The translation tables themselves: the compile-time sorted arrays against
// the node-based ordered maps they replace, built from the same rows. Three
// uses: one request asked again and again (what a program's loop does), every
// legacy number in a scrambled order, and making a transport (the maps were
// filled for every opened "VantorixIO" node). Each lookup's key depends on
// the previous answer: a request waits for its translation, so what counts is
// the latency of one lookup, not how many can overlap.
struct NodeMaps {
    std::map<int32_t, int32_t> requests;
    std::map<int32_t, uint32_t> codes;

    NodeMaps()
    {
        std::size_t rows = 0;
        const auto* table = VantorixIOIoctlMessageUser::translationTable(&rows);
        for (std::size_t i = 0; i < rows; ++i) {
            requests[table[i].legacy] = table[i].request;
            if (table[i].request == VantorixIOIoctlMessageUser::kMessageRequest)
                codes[table[i].legacy] = table[i].messageCode;
        }
    }

    int32_t lookUp(int32_t key) const
    {
        const auto request = requests.find(key);
        const int32_t r = request == requests.end() ? -1 : request->second;
        const auto code = codes.find(key + (r == -2));
        return (code == codes.end() ? 0 : 1) + (r == -2);
    }
};

// 0 or 1, never anything the next key could be told from at compile time.
int32_t lookUp(const VantorixIOIoctlMessageUser& t, int32_t key)
{
    const int32_t r = t.translateIoctl(key);
    return (t.translateIoctlToMessage(key + (r == -2)) == VantorixIOIoctlMessageUser::kNoMessage ? 0 : 1)
           + (r == -2);
}

std::vector<int32_t> scrambledKeys()
{
    std::size_t rows = 0;
    const auto* table = VantorixIOIoctlMessageUser::translationTable(&rows);
    std::vector<int32_t> keys;
    for (std::size_t i = 0; i < rows; ++i)
        keys.push_back(table[(i * 67) % rows].legacy);
    keys.push_back(0x915);  // absent
    return keys;
}

void LookupRepeatedSortedArray(benchmark::State& state)
{
    VantorixIOIoctlMessageUser t(g_fd);
    int32_t carry = 0;
    for (auto _ : state)
        carry = lookUp(t, 0x99A + (carry >> 1));
    benchmark::DoNotOptimize(carry);
}

void LookupRepeatedNodeMap(benchmark::State& state)
{
    const NodeMaps maps;
    int32_t carry = 0;
    for (auto _ : state)
        carry = maps.lookUp(0x99A + (carry >> 1));
    benchmark::DoNotOptimize(carry);
}

void LookupScrambledSortedArray(benchmark::State& state)
{
    VantorixIOIoctlMessageUser t(g_fd);
    const std::vector<int32_t> keys = scrambledKeys();
    int32_t carry = 0;
    for (auto _ : state)
        for (int32_t key : keys)
            carry = lookUp(t, key + (carry >> 1));
    benchmark::DoNotOptimize(carry);
}

void LookupScrambledNodeMap(benchmark::State& state)
{
    const NodeMaps maps;
    const std::vector<int32_t> keys = scrambledKeys();
    int32_t carry = 0;
    for (auto _ : state)
        for (int32_t key : keys)
            carry = maps.lookUp(key + (carry >> 1));
    benchmark::DoNotOptimize(carry);
}

void CreateWithSortedArrays(benchmark::State& state)
{
    for (auto _ : state) {
        VantorixIOIoctlMessageUser t(g_fd);
        benchmark::DoNotOptimize(&t);
    }
}

void CreateWithNodeMaps(benchmark::State& state)
{
    for (auto _ : state) {
        NodeMaps maps;
        benchmark::DoNotOptimize(&maps);
    }
}

BENCHMARK(BareIoctl);
BENCHMARK(LegacyCall);
BENCHMARK(BareIoctlOneScalarOut);
BENCHMARK(LegacyReadScalar);
BENCHMARK(BareIoctlOneScalarIn);
BENCHMARK(LegacyWriteScalar);
BENCHMARK(VantorixIORenumbered);
BENCHMARK(VantorixIOMessage);
BENCHMARK(LookupRepeatedNodeMap);
BENCHMARK(LookupRepeatedSortedArray);
BENCHMARK(LookupScrambledNodeMap);
BENCHMARK(LookupScrambledSortedArray);
BENCHMARK(CreateWithNodeMaps);
BENCHMARK(CreateWithSortedArrays);

struct Row {
    const char* label;
    const char* subject;
    const char* baseline;
};
const Row kRows[] = {
    {"transport: legacy call", "LegacyCall", "BareIoctl"},
    {"transport: legacy readScalar", "LegacyReadScalar", "BareIoctlOneScalarOut"},
    {"transport: legacy writeScalar", "LegacyWriteScalar", "BareIoctlOneScalarIn"},
    {"transport: VantorixIO renumbered", "VantorixIORenumbered", "BareIoctl"},
    {"transport: VantorixIO message", "VantorixIOMessage", "BareIoctl"},
    {"translation, one request repeated: sorted array / node map", "LookupRepeatedSortedArray",
     "LookupRepeatedNodeMap"},
    {"translation, all 148 scrambled: sorted array / node map", "LookupScrambledSortedArray",
     "LookupScrambledNodeMap"},
    {"translation tables per transport made: sorted array / node map", "CreateWithSortedArrays",
     "CreateWithNodeMaps"},
};

}  // namespace

#endif

namespace {

// Collects the CPU time per request of every repetition of every benchmark.
class CollectingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred)
                continue;
            times[run.run_name.function_name].push_back(run.GetAdjustedCPUTime() * multiplier(run.time_unit));
        }
        ConsoleReporter::ReportRuns(runs);
    }

    double median(const std::string& name) const
    {
        const auto found = times.find(name);
        if (found == times.end() || found->second.empty())
            return -1.0;
        std::vector<double> v = found->second;
        std::sort(v.begin(), v.end());
        const std::size_t n = v.size();
        return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
    }

    std::size_t repetitions(const std::string& name) const
    {
        const auto found = times.find(name);
        return found == times.end() ? 0 : found->second.size();
    }

private:
    static double multiplier(benchmark::TimeUnit unit)
    {
        switch (unit) {
        case benchmark::kSecond: return 1e9;
        case benchmark::kMillisecond: return 1e6;
        case benchmark::kMicrosecond: return 1e3;
        default: return 1.0;
        }
    }

    std::map<std::string, std::vector<double>> times;
};

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    g_fd = open("/dev/null", O_RDWR);
    if (g_fd < 0) {
        std::perror("/dev/null");
        return 1;
    }

    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    close(g_fd);

    // row <label> | <subject ns> | <baseline ns> | <ratio> | <repetitions>
    std::printf("\n");
    int missing = 0;
    for (const Row& row : kRows) {
        const double subject = reporter.median(row.subject);
        const double baseline = reporter.median(row.baseline);
        if (subject <= 0 || baseline <= 0) {
            ++missing;
            continue;
        }
        std::printf("row %s | %.1f ns | %.1f ns | %.3f | %zu\n", row.label, subject, baseline, subject / baseline,
                    std::min(reporter.repetitions(row.subject), reporter.repetitions(row.baseline)));
    }
    return missing == 0 ? 0 : 1;
}
