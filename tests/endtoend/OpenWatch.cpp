// open_watch: reports every open of the given files, through inotify, so
// that a test can tell whether some process ever opened a decoy.
//
//   open_watch FILE...
//
// Prints "watching" once every watch is in place, then one line per open,
// "opened FILE", until it is killed. Exits 1 when a file cannot be watched.
#include <sys/inotify.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <string>

int main(int argc, char** argv)
{
    const int watcher = inotify_init1(IN_CLOEXEC);
    if (watcher == -1)
        return 1;
    std::map<int, std::string> watched;
    for (int i = 1; i < argc; ++i) {
        const int watch = inotify_add_watch(watcher, argv[i], IN_OPEN);
        if (watch == -1) {
            fprintf(stderr, "open_watch: cannot watch %s\n", argv[i]);
            return 1;
        }
        watched[watch] = argv[i];
    }
    printf("watching\n");
    fflush(stdout);

    alignas(inotify_event) char buffer[4096];
    for (;;) {
        const ssize_t length = read(watcher, buffer, sizeof buffer);
        if (length <= 0)
            return 1;
        for (ssize_t at = 0; at < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            if (event->mask & IN_OPEN) {
                printf("opened %s\n", watched[event->wd].c_str());
                fflush(stdout);
            }
            at += ssize_t(sizeof(inotify_event) + event->len);
        }
    }
}
