#include "platform/storage_client/Stream.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/storage_client/Failure.h"

namespace tarn::storage_client {

namespace {

bool mustWait(int error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

std::string textOf(int error) {
    return std::generic_category().message(error);
}

// What is left of the parts after `sent` bytes of them have gone.
void advance(std::vector<iovec>& parts, std::size_t& first, std::size_t sent) {
    while (first < parts.size() && sent >= parts[first].iov_len) {
        sent -= parts[first].iov_len;
        ++first;
    }
    if (sent > 0) {
        parts[first].iov_base = static_cast<char*>(parts[first].iov_base) + sent;
        parts[first].iov_len -= sent;
    }
}

}  // namespace

Stream::Stream(int descriptor, std::string peer)
    : descriptor(descriptor), peerName(std::move(peer)) {}

void Stream::send(std::vector<iovec> parts, const Deadline& deadline) {
    std::size_t first = 0;
    advance(parts, first, 0);
    while (first < parts.size()) {
        msghdr message{};
        message.msg_iov = &parts[first];
        message.msg_iovlen = parts.size() - first;
        const auto sent = ::sendmsg(descriptor.get(), &message, MSG_NOSIGNAL);
        if (sent >= 0) {
            advance(parts, first, static_cast<std::size_t>(sent));
        } else if (mustWait(errno)) {
            if (!waitFor(POLLOUT, deadline)) {
                failTimeout();
            }
        } else if (errno != EINTR) {
            failConnection(textOf(errno));
        }
    }
}

void Stream::receive(char* bytes, std::size_t size, const Deadline& deadline) {
    while (size > 0) {
        const auto received = ::recv(descriptor.get(), bytes, size, 0);
        if (received > 0) {
            bytes += received;
            size -= static_cast<std::size_t>(received);
        } else if (received == 0) {
            failConnection("the server has closed it");
        } else if (mustWait(errno)) {
            if (!waitFor(POLLIN, deadline)) {
                failTimeout();
            }
        } else if (errno != EINTR) {
            failConnection(textOf(errno));
        }
    }
}

bool Stream::waitForInput(const Deadline& deadline) {
    return waitFor(POLLIN, deadline);
}

void Stream::interrupt() const {
    ::shutdown(descriptor.get(), SHUT_RDWR);
}

bool Stream::waitFor(short events, const Deadline& deadline) {
    pollfd ready{.fd = descriptor.get(), .events = events, .revents = 0};
    for (;;) {
        const int result = ::poll(&ready, 1, static_cast<int>(deadline.remaining().count()));
        if (result > 0) {
            return true;
        }
        if (result < 0 && errno != EINTR) {
            failConnection(textOf(errno));
        }
        if (deadline.hasPassed()) {
            return false;
        }
    }
}

void Stream::failTimeout() const {
    throw Failure(TARN_STORAGE_ERROR_TIMEOUT, "No answer of " + peerName + " in time");
}

void Stream::failConnection(const std::string& reason) const {
    throw Failure(TARN_STORAGE_ERROR_CONNECTION,
                  "The connection to " + peerName + " failed: " + reason);
}

}  // namespace tarn::storage_client
