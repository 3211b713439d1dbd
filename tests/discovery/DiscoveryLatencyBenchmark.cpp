// How long an event takes from notify() to the delegate's call: to a listener
// in this process, and to one in another process. Median and 99th percentile
// over many posts, taken in alternating blocks (one listener at a time, since
// deliveries are serialised by the channel's mutex) so that a load on the
// machine falls on both alike. A measurement, not a pass/fail
// timing test: it fails only when an event never arrives.
//
//   discovery_latency_benchmark [SAMPLES]    (default 1000 of each)
//
// The output ends with one "row" line per kind, read by scripts/bench.sh.
#include <semaphore.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "DiscoveryTestSupport.h"
#include "FakeDeviceWorld.h"
#include "IQuorvaleDeviceDiscoveryNotifierDelegate.h"
#include "QuorvaleAccess.h"
#include "QuorvaleDeviceDiscoveryNotifier.h"

using namespace discoverytest;

namespace {

long long monotonicNanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

double percentile(const std::vector<long long>& sorted, double fraction)
{
    const size_t index = std::min(sorted.size() - 1, size_t(fraction * double(sorted.size() - 1) + 0.5));
    return double(sorted[index]) / 1000.0;
}

// Takes the time on entry, then lets the poster go on.
class TimingDelegate : public IQuorvaleDeviceDiscoveryNotifierDelegate {
public:
    TimingDelegate() { sem_init(&delivered, 0, 0); }
    ~TimingDelegate() override { sem_destroy(&delivered); }

    void ProcessNotification(QuorvaleInstanceRec* device, bool) override
    {
        when.store(monotonicNanoseconds());
        CloseDriverConnectionCore(device);
        sem_post(&delivered);
    }

    bool wait(int timeoutMs)
    {
        timespec deadline;
        clock_gettime(CLOCK_REALTIME, &deadline);
        deadline.tv_sec += timeoutMs / 1000;
        deadline.tv_nsec += (timeoutMs % 1000) * 1000000L;
        if (deadline.tv_nsec >= 1000000000L) {
            deadline.tv_sec += 1;
            deadline.tv_nsec -= 1000000000L;
        }
        while (sem_timedwait(&delivered, &deadline) != 0)
            if (errno != EINTR)
                return false;
        return true;
    }

    std::atomic<long long> when{0};

private:
    sem_t delivered;
};

void report(const char* label, std::vector<long long>& delays)
{
    if (delays.empty())
        return;
    std::sort(delays.begin(), delays.end());
    std::printf("notify -> delegate %s, %zu events: median %.1f us, 99th percentile %.1f us "
                "(min %.1f us, max %.1f us)\n",
                label, delays.size(), percentile(delays, 0.5), percentile(delays, 0.99), percentile(delays, 0.0),
                percentile(delays, 1.0));
    std::printf("row discovery: notify to delegate, %s | %.1f us median | %.1f us p99 | - | %zu\n", label,
                percentile(delays, 0.5), percentile(delays, 0.99), delays.size());
}

}  // namespace

int main(int argc, char** argv)
{
    const int kSamples = argc > 1 ? std::max(10, std::atoi(argv[1])) : 1000;
    removeSegment();
    int status = 0;
    {
        QuorvaleDeviceDiscoveryNotifier poster;
        QuorvaleDeviceDiscoveryNotifier listenerHere;
        TimingDelegate delegate;
        Peer listenerThere;
        if (!poster.connect() || !listenerHere.connect() || listenerThere.ask("connect") != "connect 1") {
            std::fprintf(stderr, "could not set up the channel\n");
            removeSegment();
            return 1;
        }

        // Every post changes the presence bit (arrival, removal, ...), so each
        // is an event; a block has an even count, so that a listener started
        // for the next block finds the node absent and replays nothing.
        const QuorvaleDeviceNode node = fakeworld::parseNode("dv1");
        const int kBlock = 20;
        std::vector<long long> here;
        std::vector<long long> there;
        for (int block = 0; status == 0 && (int(here.size()) < kSamples || int(there.size()) < kSamples); ++block) {
            const bool timeHere = block % 2 == 0;
            if (timeHere ? !listenerHere.waitForNotifications(&delegate)
                         : listenerThere.ask("listen") != "listen 1") {
                std::fprintf(stderr, "could not listen\n");
                status = 1;
                break;
            }
            for (int sample = 0; sample < kBlock; ++sample) {
                const long long posted = monotonicNanoseconds();
                poster.notify(&node, sample % 2 == 0);
                Delivery delivery;
                if (timeHere ? !delegate.wait(5000) : !listenerThere.nextDelivery(delivery, 5000)) {
                    std::fprintf(stderr, "event %d never arrived %s\n", sample, timeHere ? "here" : "there");
                    status = 1;
                    break;
                }
                if (timeHere)
                    here.push_back(delegate.when.load() - posted);
                else
                    there.push_back(delivery.nanoseconds - posted);
            }
            if (timeHere)
                listenerHere.cancelWaitForNotifications();
            else
                listenerThere.ask("cancel");
        }
        listenerThere.finish();

        report("in one process", here);
        report("across processes", there);
    }
    removeSegment();
    return status;
}
