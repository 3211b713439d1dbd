/* Times a program from its start to the mapping of its first top-level
 * window on the X display, then ends it.
 *
 *   first_window TIMEOUT_SECONDS PROGRAM [ARG...]
 *
 * Prints the microseconds on stdout; exits 1 when no window came in time.
 * The display is watched for map events before the program starts, so the
 * moment is the server's, not that of a poll. */
#define _POSIX_C_SOURCE 200809L
#include <X11/Xlib.h>

#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static long long microseconds(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000LL + now.tv_nsec / 1000;
}

int main(int argc, char** argv)
{
    if (argc < 3) {
        fprintf(stderr, "usage: first_window TIMEOUT_SECONDS PROGRAM [ARG...]\n");
        return 2;
    }
    const long long timeout = atoll(argv[1]) * 1000000LL;
    Display* display = XOpenDisplay(NULL);
    if (display == NULL) {
        fprintf(stderr, "first_window: no display\n");
        return 2;
    }
    XSelectInput(display, DefaultRootWindow(display), SubstructureNotifyMask);
    XSync(display, False);

    const long long start = microseconds();
    const pid_t child = fork();
    if (child == 0) {
        execvp(argv[2], argv + 2);
        _exit(127);
    }
    long long mapped = -1;
    while (mapped < 0 && microseconds() - start < timeout) {
        while (XPending(display)) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type == MapNotify && mapped < 0)
                mapped = microseconds();
        }
        if (mapped >= 0)
            break;
        struct pollfd watch = {ConnectionNumber(display), POLLIN, 0};
        poll(&watch, 1, 50);
        if (waitpid(child, NULL, WNOHANG) == child)
            break;
    }
    kill(child, SIGTERM);
    waitpid(child, NULL, 0);
    XCloseDisplay(display);
    if (mapped < 0)
        return 1;
    printf("%lld\n", mapped - start);
    return 0;
}
