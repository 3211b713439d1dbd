// Another process of the device family, driven line by line over stdin: it
// connects to the discovery channel, posts, locks, listens or installs a
// callback, and answers each command with one line on stdout. Deliveries are
// written as "arrival <node> <monotonic ns>" or "removal <node> <ns>" (not at
// all after "listen quietly"). A process told to "churn" posts until a
// signal ends it.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "QuorvaleAccess.h"
#include "QuorvaleDeviceDiscoveryNotifier.h"
#include "QuorvaleDiscovery.h"
#include "QuorvaleInstanceRec.h"
#include "QuorvaleNotificationHandle.h"

#ifdef DISCOVERY_PEER_FAKE_DEVICES
#include "FakeDeviceWorld.h"
#include "SystemCallFaults.h"
#endif

namespace {

void say(const std::string& line)
{
    // One write per line: lines from the listener thread never interleave.
    const std::string text = line + "\n";
    if (write(STDOUT_FILENO, text.data(), text.size()) < 0)
        _exit(3);
}

bool readLine(std::string& line)
{
    line.clear();
    char c;
    for (;;) {
        const ssize_t n = read(STDIN_FILENO, &c, 1);
        if (n <= 0)
            return !line.empty();
        if (c == '\n')
            return true;
        line += c;
    }
}

long long monotonicNanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

std::string describe(const QuorvaleInstanceRec* device)
{
#ifdef DISCOVERY_PEER_FAKE_DEVICES
    return fakeworld::nodeNameOf(device);
#else
    QuorvaleDeviceNode node{};
    node.fromInstance(device);
    return std::string(node.namePrefix) + std::to_string(node.unitNumber);
#endif
}

void report(QuorvaleInstanceRec* device, bool arrived)
{
    say(std::string(arrived ? "arrival " : "removal ") + describe(device) + " "
        + std::to_string(monotonicNanoseconds()));
    CloseDriverConnectionCore(device);
}

class PrintingDelegate : public IQuorvaleDeviceDiscoveryNotifierDelegate {
public:
    void ProcessNotification(QuorvaleInstanceRec* device, bool arrived) override { report(device, arrived); }
};

// Takes each delivery without a word, so that a busy channel never fills
// the pipe to the test and keeps the listener waiting on it, spending
// `microseconds` on each; "delivered" tells how many it took.
class QuietDelegate : public IQuorvaleDeviceDiscoveryNotifierDelegate {
public:
    void ProcessNotification(QuorvaleInstanceRec* device, bool) override
    {
        ++delivered;
        if (microseconds != 0)
            usleep(microseconds);
        CloseDriverConnectionCore(device);
    }
    std::atomic<int> delivered{0};
    unsigned microseconds = 0;
};

void printArrival(QuorvaleInstanceRec* device, void*)
{
    report(device, true);
}

QuorvaleDeviceNode nodeNamed(const std::string& name)
{
    QuorvaleDeviceNode node{};
    size_t digits = name.find_first_of("0123456789");
    strncpy(node.namePrefix, name.substr(0, digits).c_str(), sizeof node.namePrefix - 1);
    node.unitNumber = uint8_t(atoi(name.c_str() + digits));
    return node;
}

std::vector<std::string> splitAtCommas(const std::string& list)
{
    std::vector<std::string> names;
    std::istringstream stream(list);
    std::string name;
    while (std::getline(stream, name, ','))
        names.push_back(name);
    return names;
}

// Every node arrives in turn, then every node is removed, over and over
// until the process ends: each call changes a presence bit and posts. After
// each burst of `burst` posts a pause, in which listeners get the mutex.
void churn(QuorvaleDeviceDiscoveryNotifier* notifier, std::vector<QuorvaleDeviceNode> nodes, int burst,
           unsigned pauseMicroseconds)
{
    for (size_t step = 0;; ++step) {
        const size_t index = step % nodes.size();
        notifier->notify(&nodes[index], (step / nodes.size()) % 2 == 0);
        if (burst > 0 && (step + 1) % size_t(burst) == 0)
            usleep(pauseMicroseconds);
    }
}

}  // namespace

int main()
{
    // Some tests make this process crash on purpose.
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);

    // Both delegates outlive the notifier, whose destruction stops its listener.
    PrintingDelegate delegate;
    QuietDelegate quietDelegate;
    QuorvaleDeviceDiscoveryNotifier notifier;
    QuorvaleNotificationHandle* handle = nullptr;

    std::string line;
    while (readLine(line)) {
        std::istringstream words(line);
        std::string command;
        words >> command;
        if (command == "connect") {
            say("connect " + std::to_string(notifier.connect()));
        } else if (command == "notify") {
            std::string name;
            int arrived = 1;
            words >> name >> arrived;
            const QuorvaleDeviceNode node = nodeNamed(name);
            say("notify " + std::to_string(notifier.notify(&node, arrived != 0)));
        } else if (command == "post") {
            std::string prefix;
            int first = 0, count = 0;
            words >> prefix >> first >> count;
            int posted = 0;
            for (int unit = first; unit < first + count; ++unit) {
                const QuorvaleDeviceNode node = nodeNamed(prefix + std::to_string(unit));
                posted += notifier.notify(&node, true) ? 1 : 0;
            }
            say("posted " + std::to_string(posted));
        } else if (command == "listen") {
            std::string manner;
            words >> manner >> quietDelegate.microseconds;
            IQuorvaleDeviceDiscoveryNotifierDelegate* listening = &delegate;
            if (manner == "quietly")
                listening = &quietDelegate;
            say("listen " + std::to_string(notifier.waitForNotifications(listening)));
        } else if (command == "delivered") {
            say("delivered " + std::to_string(quietDelegate.delivered));
        } else if (command == "churn") {
            // In a thread of its own: this one goes on answering.
            std::string names;
            int burst = 0;
            unsigned pauseMicroseconds = 0;
            words >> names >> burst >> pauseMicroseconds;
            std::vector<QuorvaleDeviceNode> nodes;
            for (const std::string& name : splitAtCommas(names))
                nodes.push_back(nodeNamed(name));
            if (nodes.empty()) {
                say("churning 0");
            } else {
                std::thread(churn, &notifier, nodes, burst, pauseMicroseconds).detach();
                say("churning " + std::to_string(nodes.size()));
            }
        } else if (command == "cancel") {
            notifier.cancelWaitForNotifications();
            say("cancel");
        } else if (command == "lock") {
            say("lock " + std::to_string(notifier.lock()));
        } else if (command == "unlock") {
            say("unlock " + std::to_string(notifier.unlock()));
        } else if (command == "install") {
            handle = InstallQuorvaleNotificationCallback(printArrival, nullptr);
            say("install " + std::to_string(handle != nullptr && handle->notifier != nullptr));
        } else if (command == "remove") {
            RemoveQuorvaleNotificationCallback(handle);
            handle = nullptr;
            say("remove");
        } else if (command == "disconnect") {
            notifier.disconnect();
            say("disconnect");
#ifdef DISCOVERY_PEER_FAKE_DEVICES
        } else if (command == "recoveries") {
            say("recoveries " + std::to_string(faults::consistentCalls()));
#endif
        } else if (command == "pid") {
            say("pid " + std::to_string(getpid()));
        } else if (command == "exit") {
            break;
        } else {
            say("unknown " + command);
        }
    }
    RemoveQuorvaleNotificationCallback(handle);
    return 0;
}
