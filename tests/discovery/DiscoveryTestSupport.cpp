#include "DiscoveryTestSupport.h"

#include "ProcessInspection.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

extern char** environ;

namespace discoverytest {

bool runsUnderUserEmulation()
{
    // glibc registers every thread's robust list; qemu refuses the call.
    void* head = nullptr;
    size_t length = 0;
    return syscall(SYS_get_robust_list, 0, &head, &length) != 0 || head == nullptr;
}

Peer::Peer(const std::vector<std::string>& environment)
{
    int toPeer[2], fromPeer[2];
    if (pipe2(toPeer, O_CLOEXEC) != 0 || pipe2(fromPeer, O_CLOEXEC) != 0)
        return;

    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable)
        variables.push_back(*variable);
    for (const std::string& extra : environment)
        variables.push_back(extra);
    std::vector<char*> envp;
    for (std::string& variable : variables)
        envp.push_back(&variable[0]);
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, toPeer[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fromPeer[1], STDOUT_FILENO);
    char program[] = DISCOVERY_PEER_PATH;
    char* argv[] = {program, nullptr};
    if (posix_spawn(&m_pid, program, &actions, nullptr, argv, envp.data()) != 0)
        m_pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(toPeer[0]);
    close(fromPeer[1]);
    m_toPeer = toPeer[1];
    m_fromPeer = fromPeer[0];
}

Peer::~Peer()
{
    if (m_pid > 0 && !m_ended) {
        kill(m_pid, SIGKILL);
        wait();
    }
    if (m_toPeer != -1)
        close(m_toPeer);
    if (m_fromPeer != -1)
        close(m_fromPeer);
}

void Peer::send(const std::string& line)
{
    const std::string text = line + "\n";
    if (write(m_toPeer, text.data(), text.size()) != ssize_t(text.size()))
        ADD_FAILURE() << "helper process no longer reads its commands";
}

bool Peer::pump(int timeoutMs)
{
    pollfd readable{m_fromPeer, POLLIN, 0};
    if (poll(&readable, 1, timeoutMs) <= 0)
        return false;
    char buffer[4096];
    const ssize_t n = read(m_fromPeer, buffer, sizeof buffer);
    if (n <= 0) {
        m_closed = true;  // the process has gone
        return false;
    }
    m_partial.append(buffer, size_t(n));
    size_t end;
    while ((end = m_partial.find('\n')) != std::string::npos) {
        const std::string line = m_partial.substr(0, end);
        m_partial.erase(0, end + 1);
        std::istringstream words(line);
        std::string kind;
        words >> kind;
        if (kind == "arrival" || kind == "removal") {
            Delivery delivery;
            delivery.arrived = kind == "arrival";
            words >> delivery.node >> delivery.nanoseconds;
            m_deliveries.push_back(delivery);
        } else {
            m_answers.push_back(line);
        }
    }
    return true;
}

namespace {
using Clock = std::chrono::steady_clock;

int remainingMs(Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? int(left) : 0;
}
}  // namespace

bool eventually(const std::function<bool()>& condition, int timeoutMs)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!condition()) {
        if (Clock::now() >= deadline)
            return false;
        usleep(1000);
    }
    return true;
}

std::string Peer::answer(int timeoutMs)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (m_answers.empty() && !m_closed) {
        if (!pump(remainingMs(deadline)) && Clock::now() >= deadline)
            return "";
    }
    if (m_answers.empty())
        return "";
    const std::string line = m_answers.front();
    m_answers.pop_front();
    return line;
}

std::string Peer::ask(const std::string& command, int timeoutMs)
{
    send(command);
    return answer(timeoutMs);
}

bool Peer::nextDelivery(Delivery& delivery, int timeoutMs)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (m_deliveries.empty()) {
        if (m_closed || (!pump(remainingMs(deadline)) && Clock::now() >= deadline))
            return false;
    }
    delivery = m_deliveries.front();
    m_deliveries.pop_front();
    return true;
}

std::vector<Delivery> Peer::deliveriesThrough(const std::string& node, int timeoutMs)
{
    std::vector<Delivery> seen;
    Delivery delivery;
    while (nextDelivery(delivery, timeoutMs)) {
        seen.push_back(delivery);
        if (delivery.node == node)
            break;
    }
    return seen;
}

void Peer::signal(int number)
{
    kill(m_pid, number);
}

bool Peer::stop()
{
    signal(SIGSTOP);
    return eventually([this] { return proctest::allThreadsStopped(m_pid); });
}

int Peer::wait()
{
    if (!m_ended) {
        while (waitpid(m_pid, &m_status, 0) == -1 && errno == EINTR) {
        }
        m_ended = true;
    }
    return m_status;
}

bool Peer::finish()
{
    send("exit");
    const int status = wait();
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

namespace {
int countLines(const char* file, const std::string& containing = "")
{
    std::ifstream stream(file);
    int count = 0;
    std::string line;
    while (std::getline(stream, line))
        if (line.find(containing) != std::string::npos)
            ++count;
    return count;
}
}  // namespace

ProcessHoldings processHoldings()
{
    // The directory stream of the count itself is one descriptor in both counts.
    return {proctest::countEntries("/proc/self/task"), proctest::countEntries("/proc/self/fd"), countLines("/proc/self/maps"),
            countLines("/proc/self/maps", expectedLayout().name + 1)};
}

ProcessHoldings settledHoldings(int expectedThreads)
{
    eventually([expectedThreads] { return proctest::countEntries("/proc/self/task") == expectedThreads; }, 5000);
    return processHoldings();
}

}  // namespace discoverytest
