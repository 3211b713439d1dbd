// How long an event takes from notify() in this process to the delegate's
// call in a listening process: median and 99th percentile over many posts.
// A measurement, not a pass/fail timing test: it fails only when an event
// never arrives.
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

#include "DiscoveryTestSupport.h"
#include "FakeDeviceWorld.h"
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

}  // namespace

int main()
{
    const int kSamples = 1000;
    removeSegment();
    int status = 0;
    {
        QuorvaleDeviceDiscoveryNotifier poster;
        Peer listener;
        if (!poster.connect() || listener.ask("connect") != "connect 1" || listener.ask("listen") != "listen 1") {
            fprintf(stderr, "could not set up the channel\n");
            removeSegment();
            return 1;
        }

        const QuorvaleDeviceNode node = fakeworld::parseNode("dv1");
        std::vector<long long> delays;
        for (int sample = 0; sample < kSamples; ++sample) {
            const long long posted = monotonicNanoseconds();
            poster.notify(&node, sample % 2 == 0);  // arrival, removal, arrival, ...
            Delivery delivery;
            if (!listener.nextDelivery(delivery, 5000)) {
                fprintf(stderr, "event %d never arrived\n", sample);
                status = 1;
                break;
            }
            delays.push_back(delivery.nanoseconds - posted);
        }
        listener.finish();

        if (!delays.empty()) {
            std::sort(delays.begin(), delays.end());
            printf("notify -> delegate in another process, %zu events:\n", delays.size());
            printf("  median %.1f us, 99th percentile %.1f us (min %.1f us, max %.1f us)\n",
                   percentile(delays, 0.5), percentile(delays, 0.99), percentile(delays, 0.0),
                   percentile(delays, 1.0));
        }
    }
    removeSegment();
    return status;
}
