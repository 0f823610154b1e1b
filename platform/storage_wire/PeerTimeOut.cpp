#include "platform/storage_wire/PeerTimeOut.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>

namespace tarn::storage_wire {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds shortest = seconds(2);
constexpr milliseconds longest = std::chrono::hours(1);
constexpr seconds betweenProbes(1);

bool isTcp(int socket) {
    int family = 0;
    socklen_t size = sizeof family;
    return ::getsockopt(socket, SOL_SOCKET, SO_DOMAIN, &family, &size) == 0 &&
           (family == AF_INET || family == AF_INET6);
}

template <typename Duration>
void set(int socket, int option, Duration value) {
    const auto number = static_cast<int>(value.count());
    ::setsockopt(socket, IPPROTO_TCP, option, &number, sizeof number);
}

}  // namespace

void endWithoutPeer(int socket, milliseconds bound) {
    if (!isTcp(socket)) {
        return;
    }
    const auto time = std::clamp(bound, shortest, longest);
    const int on = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    set(socket, TCP_KEEPIDLE, std::chrono::duration_cast<seconds>(time / 2));
    set(socket, TCP_KEEPINTVL, betweenProbes);
    // Says when probes are given up, too.
    set(socket, TCP_USER_TIMEOUT, time);
}

}  // namespace tarn::storage_wire
