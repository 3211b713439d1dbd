// What enumeration costs per node against the system calls it has to make on
// the same nodes: opendir, readdir, stat of every entry, and for every card
// node open, the two probing ioctls (structure version, sub-device place) and
// close. The nodes are simulated cards, so every call of both sides goes
// through the same emulation; repetitions are interleaved at random and each
// side's median CPU time is divided by the number of nodes.
#include <benchmark/benchmark.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "QuorvaleAccess.h"
#include "SimulatedCard.h"

namespace {

constexpr unsigned kNodes = 4;

void LibraryEnumeration(benchmark::State& state)
{
    for (auto _ : state) {
        QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
        benchmark::DoNotOptimize(iterator);
        ReleaseQuorvaleIterator(iterator);
    }
}

void BareEnumeration(benchmark::State& state)
{
    for (auto _ : state) {
        DIR* directory = opendir("/dev/vantorix");
        if (directory == nullptr) {
            state.SkipWithError("no /dev/vantorix");
            break;
        }
        while (const dirent* entry = readdir(directory)) {
            char path[64];
            if (std::snprintf(path, sizeof path, "/dev/vantorix/%s", entry->d_name) < 1)
                continue;
            struct stat status;
            if (stat(path, &status) != 0 || !S_ISCHR(status.st_mode) || major(status.st_rdev) != 10)
                continue;
            const int fd = open(path, O_RDWR);
            if (fd < 0)
                continue;
            // The probe's two requests: one output scalar, then three.
            alignas(16) uint32_t version[6] = {0, 0, 1, 0};
            alignas(16) uint32_t place[10] = {0, 0, 3, 0};
            benchmark::DoNotOptimize(ioctl(fd, 0x10000, version));
            benchmark::DoNotOptimize(ioctl(fd, 0x99A, place));
            close(fd);
        }
        closedir(directory);
    }
}

BENCHMARK(BareEnumeration);
BENCHMARK(LibraryEnumeration);

class CollectingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration && !run.error_occurred)
                times[run.run_name.function_name].push_back(run.GetAdjustedCPUTime()
                                                            * (run.time_unit == benchmark::kMillisecond ? 1e6
                                                               : run.time_unit == benchmark::kMicrosecond ? 1e3
                                                                                                           : 1.0));
        ConsoleReporter::ReportRuns(runs);
    }

    double median(const std::string& name)
    {
        std::vector<double>& v = times[name];
        if (v.empty())
            return -1.0;
        std::sort(v.begin(), v.end());
        return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
    }

    std::map<std::string, std::vector<double>> times;
};

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;

    simcard::SimulatedCard card;
    for (unsigned unit = 0; unit < kNodes; ++unit)
        card.addNode(simcard::NodeConfig::dv(unit));
    QuorvaleIteratorRec* check = CreateQuorvaleIterator();
    if (check == nullptr) {
        std::fprintf(stderr, "the simulated cards cannot be enumerated\n");
        return 1;
    }
    ReleaseQuorvaleIterator(check);

    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const double library = reporter.median("LibraryEnumeration");
    const double bare = reporter.median("BareEnumeration");
    if (library <= 0 || bare <= 0)
        return 1;
    std::printf("\nrow enumeration per node (%u nodes) | %.1f us | %.1f us | %.3f | %zu\n", kNodes,
                library / kNodes / 1000, bare / kNodes / 1000, library / bare,
                std::min(reporter.times["LibraryEnumeration"].size(), reporter.times["BareEnumeration"].size()));
    return 0;
}
