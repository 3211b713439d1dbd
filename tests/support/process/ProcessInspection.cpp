#include "ProcessInspection.h"

#include <dirent.h>

#include <cstdlib>
#include <fstream>

namespace proctest {

int countEntries(const std::string& directory)
{
    DIR* dir = opendir(directory.c_str());
    if (dir == nullptr)
        return -1;
    int count = 0;
    while (dirent* entry = readdir(dir))
        if (entry->d_name[0] != '.')
            ++count;
    closedir(dir);
    return count;
}

std::set<pid_t> threadIds(pid_t pid)
{
    std::set<pid_t> threads;
    DIR* tasks = opendir(("/proc/" + std::to_string(pid) + "/task").c_str());
    if (tasks == nullptr)
        return threads;
    while (dirent* entry = readdir(tasks))
        if (entry->d_name[0] != '.')
            threads.insert(pid_t(std::strtol(entry->d_name, nullptr, 10)));
    closedir(tasks);
    return threads;
}

namespace {
// The state letter of one thread's stat line; the name before it is in
// parentheses and may itself hold blanks and parentheses.
char threadState(const std::string& statPath)
{
    std::ifstream stat(statPath);
    std::string line;
    std::getline(stat, line);
    const size_t afterName = line.rfind(')');
    if (afterName == std::string::npos || afterName + 2 >= line.size())
        return '?';
    return line[afterName + 2];
}
}  // namespace

bool allThreadsStopped(pid_t pid)
{
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    DIR* dir = opendir(tasks.c_str());
    if (dir == nullptr)
        return false;
    bool stopped = true;
    int threads = 0;
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.')
            continue;
        const char state = threadState(tasks + "/" + entry->d_name + "/stat");
        if (state != 'T' && state != 't')
            stopped = false;
        ++threads;
    }
    closedir(dir);
    return stopped && threads > 0;
}

}  // namespace proctest
