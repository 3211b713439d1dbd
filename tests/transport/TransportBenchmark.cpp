// What the transport costs on top of the system call it makes. All variants
// use the same real descriptor (/dev/null, where every ioctl fails with
// ENOTTY inside the kernel), so the difference is the user-space work: block
// building, dispatch, and for the newer driver the two map lookups and the
// message record. The summary compares the fastest repetition of each, in
// CPU time: on a shared machine wall time also counts being descheduled.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <string>

#include "IoctlMessageUser.h"
#include "VantorixIOIoctlMessageUser.h"

namespace {

int g_fd = -1;

void BareIoctl(benchmark::State& state)
{
    alignas(16) unsigned char block[16] = {};
    for (auto _ : state)
        benchmark::DoNotOptimize(ioctl(g_fd, 0x993, block));
}

void BareIoctlOneScalar(benchmark::State& state)
{
    alignas(16) unsigned char block[24] = {0, 0, 0, 0, 0, 0, 0, 0, 1};
    for (auto _ : state)
        benchmark::DoNotOptimize(ioctl(g_fd, 0x993, block));
}

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

BENCHMARK(BareIoctl);
BENCHMARK(BareIoctlOneScalar);
BENCHMARK(LegacyCall);
BENCHMARK(LegacyReadScalar);
BENCHMARK(VantorixIORenumbered);
BENCHMARK(VantorixIOMessage);

// Keeps the fastest per-iteration time of each benchmark over its repetitions.
class FastestRunReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred)
                continue;
            const double ns = run.GetAdjustedCPUTime() * multiplier(run.time_unit);
            auto [it, inserted] = fastest.emplace(run.run_name.function_name, ns);
            if (!inserted && ns < it->second)
                it->second = ns;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    std::map<std::string, double> fastest;

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

    FastestRunReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    close(g_fd);

    const auto& t = reporter.fastest;
    const auto ratio = [&](const char* name, const char* bare) {
        if (!t.count(name) || !t.count(bare))
            return -1.0;
        const double r = t.at(name) / t.at(bare);
        std::printf("ratio %-22s / %-18s = %.3f  (%+.1f %%, %.1f ns vs %.1f ns)\n", name, bare, r,
                    (r - 1.0) * 100.0, t.at(name), t.at(bare));
        return r;
    };
    std::printf("\n");
    const double call = ratio("LegacyCall", "BareIoctl");
    const double read = ratio("LegacyReadScalar", "BareIoctlOneScalar");
    ratio("VantorixIORenumbered", "BareIoctl");
    ratio("VantorixIOMessage", "BareIoctl");
    if (call > 0)
        std::printf("legacy call within 10 %% of the bare system call: %s\n", call <= 1.10 ? "yes" : "no");
    if (read > 0)
        std::printf("legacy readScalar within 10 %% of the bare system call: %s\n",
                    read <= 1.10 ? "yes" : "no");
    return 0;
}
