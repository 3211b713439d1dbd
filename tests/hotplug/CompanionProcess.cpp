#include "CompanionProcess.h"

#include "ProcessInspection.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace hotplugtest {

namespace {
using Clock = std::chrono::steady_clock;
}  // namespace

CompanionProcess::CompanionProcess(const std::vector<std::string>& extraEnvironment,
                                   const std::vector<std::string>& arguments)
{
    char pattern[] = "/tmp/hotplug-companion.XXXXXX";
    if (mkdtemp(pattern) == nullptr)
        return;
    m_directory = pattern;
    m_logPath = m_directory + "/output.log";
    const std::string socketPath = m_directory + "/notify";

    m_readySocket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
    if (m_readySocket == -1 || bind(m_readySocket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        return;

    // The extra entries replace the test's own of the same name.
    std::vector<std::string> replaced = extraEnvironment;
    replaced.push_back("NOTIFY_SOCKET=" + socketPath);
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string entry = *variable;
        bool kept = true;
        for (const std::string& extra : replaced)
            if (entry.compare(0, extra.find('=') + 1, extra, 0, extra.find('=') + 1) == 0)
                kept = false;
        if (kept)
            variables.push_back(entry);
    }
    variables.insert(variables.end(), replaced.begin(), replaced.end());
    std::vector<char*> envp;
    for (std::string& variable : variables)
        envp.push_back(&variable[0]);
    envp.push_back(nullptr);

    std::string program = HOTPLUGD_PATH;
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(&word[0]);
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, m_logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                     0644);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (posix_spawn(&m_pid, program.c_str(), &actions, nullptr, argv.data(), envp.data()) != 0)
        m_pid = -1;
    posix_spawn_file_actions_destroy(&actions);
}

CompanionProcess::~CompanionProcess()
{
    if (m_pid > 0 && running()) {
        kill(m_pid, SIGKILL);
        wait();
    }
    if (m_readySocket != -1)
        close(m_readySocket);
    if (!m_directory.empty()) {
        unlink((m_directory + "/notify").c_str());
        unlink(m_logPath.c_str());
        rmdir(m_directory.c_str());
    }
}

bool CompanionProcess::waitReady(int timeoutMs)
{
    if (m_pid <= 0)
        return false;
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (Clock::now() < deadline) {
        pollfd readable{m_readySocket, POLLIN, 0};
        if (poll(&readable, 1, 100) == 1) {
            char message[256];
            const ssize_t n = recv(m_readySocket, message, sizeof message - 1, 0);
            if (n > 0) {
                message[n] = '\0';
                if (strstr(message, "READY=1") != nullptr)
                    return true;
            }
        }
        if (waitpid(m_pid, &m_status, WNOHANG) == m_pid)
            return false;
        m_status = kRunning;
    }
    return false;
}

void CompanionProcess::signal(int number) const
{
    if (m_pid > 0)
        kill(m_pid, number);
}

int CompanionProcess::wait(int timeoutMs)
{
    if (m_pid <= 0)
        return -1;
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (running()) {
        int status = 0;
        const pid_t ended = waitpid(m_pid, &status, WNOHANG);
        if (ended == m_pid) {
            m_status = status;
            break;
        }
        if (ended == -1 && errno != EINTR)
            return -1;
        if (Clock::now() >= deadline)
            return -1;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return m_status;
}

int CompanionProcess::terminate()
{
    signal(SIGTERM);
    return wait();
}

bool CompanionProcess::stopped() const
{
    return proctest::allThreadsStopped(m_pid);
}

int CompanionProcess::descriptorCount() const
{
    return proctest::countEntries("/proc/" + std::to_string(m_pid) + "/fd");
}

int CompanionProcess::threadCount() const
{
    return proctest::countEntries("/proc/" + std::to_string(m_pid) + "/task");
}

std::pair<int, int> CompanionProcess::steadyHoldings() const
{
    std::pair<int, int> holdings{descriptorCount(), threadCount()};
    for (int i = 0; i < 50; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const std::pair<int, int> again{descriptorCount(), threadCount()};
        if (again == holdings)
            break;
        holdings = again;
    }
    return holdings;
}

std::pair<int, int> CompanionProcess::holdingsBackTo(std::pair<int, int> expected) const
{
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    std::pair<int, int> holdings{descriptorCount(), threadCount()};
    while (holdings != expected && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        holdings = {descriptorCount(), threadCount()};
    }
    return holdings;
}

std::string CompanionProcess::output() const
{
    std::ifstream log(m_logPath);
    std::stringstream text;
    text << log.rdbuf();
    return text.str();
}

}  // namespace hotplugtest
