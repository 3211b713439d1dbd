// quorvale-hotplugd run as a real child process of the test, under the
// emulation the test process runs in. It reports ready through a datagram
// socket of the test's own, as it does to the service manager.
#ifndef HOTPLUG_COMPANION_PROCESS_H
#define HOTPLUG_COMPANION_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace hotplugtest {

class CompanionProcess {
public:
    // Starts the companion with `extraEnvironment` (NAME=VALUE entries that
    // replace the test's own) and `arguments`; its output goes to a log file.
    explicit CompanionProcess(const std::vector<std::string>& extraEnvironment = {},
                              const std::vector<std::string>& arguments = {"--verbose"});
    ~CompanionProcess();
    CompanionProcess(const CompanionProcess&) = delete;
    CompanionProcess& operator=(const CompanionProcess&) = delete;

    // Waits for "READY=1"; false after the timeout or if the process ended.
    bool waitReady(int timeoutMs = 20000);
    // SIGTERM, then the wait status (-1 if it did not end within 20 s).
    int terminate();
    void signal(int number) const;
    // Waits for the process to end; the wait status, -1 after the timeout.
    int wait(int timeoutMs = 20000);
    bool running() const { return m_status == kRunning; }
    // Whether every thread of the process is stopped (SIGSTOP or a trap).
    bool stopped() const;
    pid_t pid() const { return m_pid; }

    int descriptorCount() const;
    int threadCount() const;
    // Descriptors and threads once they have stayed the same for a moment
    // (the emulation closes its side of a device connection asynchronously).
    std::pair<int, int> steadyHoldings() const;
    // The holdings once they are back to `expected`, or the last seen after
    // 10 s.
    std::pair<int, int> holdingsBackTo(std::pair<int, int> expected) const;

    std::string output() const;

private:
    static constexpr int kRunning = -2;
    pid_t m_pid = -1;
    int m_status = kRunning;
    int m_readySocket = -1;
    std::string m_directory;
    std::string m_logPath;
};

}  // namespace hotplugtest

#endif
