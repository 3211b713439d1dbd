// How long a plugged card takes from udev's "add" to the delegate call of a
// listening program, through the hotplug companion: median and 99th
// percentile over many plugs. Then whether the companion, idle, ever wakes.
// A measurement, not a pass/fail timing test: it fails only when an arrival
// never comes or the idle companion is woken.
#include <dirent.h>
#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <sstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ChannelView.h"
#include "CompanionProcess.h"
#include "QuorvaleAccess.h"
#include "QuorvaleDiscovery.h"
#include "SimulatedCard.h"

using hotplugtest::ChannelView;
using hotplugtest::CompanionProcess;

namespace {

long long monotonicNanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

double percentileMs(const std::vector<long long>& sorted, double fraction)
{
    const size_t index = std::min(sorted.size() - 1, size_t(fraction * double(sorted.size() - 1) + 0.5));
    return double(sorted[index]) / 1e6;
}

// The time of each arrival handed to the delegate.
struct Arrivals {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<long long> times;

    static void arrived(QuorvaleInstanceRec* device, void* context)
    {
        const long long now = monotonicNanoseconds();
        CloseDriverConnectionCore(device);
        auto* self = static_cast<Arrivals*>(context);
        std::lock_guard<std::mutex> lock(self->mutex);
        self->times.push_back(now);
        self->changed.notify_all();
    }
    bool waitFor(size_t count)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(20), [&] { return times.size() >= count; });
    }
};

// Context switches of every thread of `pid` and its user+system CPU ticks.
std::pair<long long, long long> activity(pid_t pid)
{
    long long switches = 0;
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    if (DIR* dir = opendir(tasks.c_str())) {
        while (dirent* entry = readdir(dir)) {
            if (entry->d_name[0] == '.')
                continue;
            std::ifstream status(tasks + "/" + entry->d_name + "/status");
            std::string key;
            long long value;
            while (status >> key) {
                if (key.find("ctxt_switches:") != std::string::npos && status >> value)
                    switches += value;
            }
        }
        closedir(dir);
    }
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(stat, line);
    long long ticks = 0;
    const size_t afterName = line.rfind(')');
    if (afterName != std::string::npos) {
        std::istringstream fields(line.substr(afterName + 2));
        std::string field;
        for (int i = 3; i <= 15 && fields >> field; ++i)
            if (i == 14 || i == 15)
                ticks += std::stoll(field);
    }
    return {switches, ticks};
}

}  // namespace

int main()
{
    const int kPlugs = 300;
    ChannelView::remove();
    int status = 0;
    {
        simcard::SimulatedCard cards;
        cards.createDeviceDirectory();
        CompanionProcess companion({}, {});
        if (!companion.waitReady()) {
            fprintf(stderr, "the companion did not start:\n%s", companion.output().c_str());
            ChannelView::remove();
            return 1;
        }
        Arrivals arrivals;
        QuorvaleNotificationHandle* listener = InstallQuorvaleNotificationCallback(Arrivals::arrived, &arrivals);
        ChannelView channel;

        std::vector<long long> delays;
        for (int plug = 0; plug < kPlugs; ++plug) {
            // The node is ready before the device is added, and adding it
            // sends udev's "add": the send is the last thing addNode does.
            cards.addNode(simcard::NodeConfig::dv(1));
            const long long sent = monotonicNanoseconds();
            if (!arrivals.waitFor(size_t(plug) + 1)) {
                fprintf(stderr, "plug %d never reached the delegate\n", plug);
                status = 1;
                break;
            }
            {
                std::lock_guard<std::mutex> lock(arrivals.mutex);
                delays.push_back(arrivals.times.back() - sent);
            }
            // Unplugged, and its removal posted, before the next plug.
            cards.removeNode("dv1");
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
            while (!channel.snapshot().present().empty() && std::chrono::steady_clock::now() < deadline)
                std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        RemoveQuorvaleNotificationCallback(listener);

        if (!delays.empty()) {
            std::sort(delays.begin(), delays.end());
            printf("hotplug latency, udev \"add\" to the delegate call through quorvale-hotplugd (%d-bit), %zu plugs:"
                   " median %.3f ms, 99th percentile %.3f ms, max %.3f ms\n",
                   int(sizeof(void*) * 8), delays.size(), percentileMs(delays, 0.5), percentileMs(delays, 0.99),
                   double(delays.back()) / 1e6);
        }

        // Idle: no card comes or goes; the companion must sleep throughout.
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        const auto before = activity(companion.pid());
        std::this_thread::sleep_for(std::chrono::seconds(5));
        const auto after = activity(companion.pid());
        printf("idle quorvale-hotplugd over 5 s: %lld context switches, %lld CPU ticks\n",
               after.first - before.first, after.second - before.second);
        if (after.first != before.first) {
            fprintf(stderr, "the idle companion woke up\n");
            status = 1;
        }
        const int ended = companion.terminate();
        if (!WIFEXITED(ended) || WEXITSTATUS(ended) != 0) {
            fprintf(stderr, "the companion did not end cleanly (wait status %d)\n", ended);
            status = 1;
        }
    }
    ChannelView::remove();
    return status;
}
