#include "ServiceManagerNotice.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

bool ServiceManagerNotice::send(const char* state)
{
    const char* address = getenv("NOTIFY_SOCKET");
    if (address == nullptr || (address[0] != '/' && address[0] != '@'))
        return false;
    sockaddr_un socketAddress{};
    socketAddress.sun_family = AF_UNIX;
    const size_t length = strlen(address);
    if (length >= sizeof socketAddress.sun_path)
        return false;
    memcpy(socketAddress.sun_path, address, length);
    if (address[0] == '@')
        socketAddress.sun_path[0] = '\0';  // an abstract name

    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd == -1)
        return false;
    const size_t size = strlen(state);
    const bool sent = sendto(fd, state, size, MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&socketAddress),
                             socklen_t(offsetof(sockaddr_un, sun_path) + length))
                      == ssize_t(size);
    close(fd);
    return sent;
}
