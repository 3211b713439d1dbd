// What /proc tells a test about a process: its threads, its descriptors.
#pragma once

#include <sys/types.h>

#include <set>
#include <string>

namespace proctest {

// Entries of a /proc directory such as /proc/PID/task or /proc/PID/fd, -1 if
// it cannot be read (the process is gone).
int countEntries(const std::string& directory);

// The thread ids of `pid` (empty if it is gone).
std::set<pid_t> threadIds(pid_t pid);

// Whether every thread of `pid` is stopped by a signal or by a tracer.
// SIGSTOP only asks: a process counts as stopped once the last of its
// threads has stopped.
bool allThreadsStopped(pid_t pid);

}  // namespace proctest
