#include "platform/storage_wire/SendBuffer.h"

#include <sys/socket.h>

namespace tarn::storage_wire {

namespace {

constexpr int wanted = 2 << 20;

}  // namespace

void makeSendBufferLarge(int socket) {
    int family = 0;
    socklen_t size = sizeof family;
    // TCP finds the right size by itself unless it is told one.
    if (::getsockopt(socket, SOL_SOCKET, SO_DOMAIN, &family, &size) != 0 || family != AF_UNIX) {
        return;
    }
    if (::setsockopt(socket, SOL_SOCKET, SO_SNDBUFFORCE, &wanted, sizeof wanted) != 0) {
        ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &wanted, sizeof wanted);
    }
}

}  // namespace tarn::storage_wire
