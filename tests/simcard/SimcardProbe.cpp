// Child program for the runner tests: opens a node, asks its shared data
// structure version with a legacy argument block, prints it, and exits with
// the status given on the command line.
//
//   simcard_probe NODE-PATH EXIT-STATUS
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    const int fd = open(argv[1], O_RDWR);
    if (fd < 0) {
        printf("open failed\n");
        return 3;
    }
    alignas(16) uint8_t block[16 + 8] = {};
    const uint32_t header[4] = {0, 0, 1, 0};
    memcpy(block, header, sizeof header);
    const int rc = ioctl(fd, 0x10000, block);
    uint64_t version = 0;
    memcpy(&version, block + 16, 8);
    printf("rc=%d version=%llu\n", rc, static_cast<unsigned long long>(version));
    close(fd);
    return atoi(argv[2]);
}
