#include "platform/storage_client/connection/Stream.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <system_error>
#include <utility>

#include "platform/storage_client/connection/Failure.h"
#include "platform/storage_wire/MemorySharing.h"
#include "platform/storage_wire/PeerTimeOut.h"
#include "platform/tls/ClientChannel.h"

namespace tarn::storage_client {

namespace {

// The system takes no more in one call.
constexpr std::size_t mostPieces = IOV_MAX;
// What TLS puts into one record.
constexpr std::size_t encryptedAtOnce = 16U << 10U;

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

Stream::Stream(os::FileDescriptor descriptor, std::string peer)
    : descriptor(std::move(descriptor)), peerName(std::move(peer)) {}

Stream::~Stream() = default;

void Stream::protect(const Protection& protection, const os::Deadline& deadline) {
    try {
        channel = std::make_unique<tls::ClientChannel>(
            descriptor.get(), tls::readCertifiedKeyFile(protection.certificateFile),
            protection.fingerprint);
    } catch (const std::runtime_error& failure) {
        throw Failure(TARN_STORAGE_ERROR_ARGUMENT,
                      "Not connected to " + peerName + ": " + failure.what());
    }
    for (;;) {
        const auto done = channel->handshake();
        if (done > 0) {
            return;
        }
        if (done == 0) {
            failConnection("the server has closed it");
        }
        if (!mustWait(errno)) {
            failConnection(reasonOf(errno));
        }
        waitInTime(channel->events(), deadline);
    }
}

void Stream::send(std::vector<iovec> parts, const os::Deadline& deadline) {
    std::size_t first = 0;
    advance(parts, first, 0);
    while (first < parts.size()) {
        const auto sent = sendSome(parts, first);
        if (sent >= 0) {
            advance(parts, first, static_cast<std::size_t>(sent));
        } else if (mustWait(errno)) {
            waitInTime(eventsToSend(), deadline);
        } else if (errno != EINTR) {
            failConnection(reasonOf(errno));
        }
    }
}

ssize_t Stream::sendSome(const std::vector<iovec>& parts, std::size_t first) {
    if (channel) {
        return sendEncrypted(parts, first);
    }
    msghdr message{};
    message.msg_iov = const_cast<iovec*>(&parts[first]);
    message.msg_iovlen = std::min(parts.size() - first, mostPieces);
    return ::sendmsg(descriptor.get(), &message, MSG_NOSIGNAL);
}

// The same bytes again after a wait: the parts have not moved meanwhile.
ssize_t Stream::sendEncrypted(const std::vector<iovec>& parts, std::size_t first) {
    if (parts[first].iov_len >= encryptedAtOnce) {
        return channel->write(parts[first].iov_base, parts[first].iov_len);
    }
    gathered.clear();
    for (std::size_t i = first; i < parts.size() && gathered.size() < encryptedAtOnce; ++i) {
        const auto* const bytes = static_cast<const char*>(parts[i].iov_base);
        const auto size = std::min(parts[i].iov_len, encryptedAtOnce - gathered.size());
        gathered.insert(gathered.end(), bytes, bytes + size);
    }
    return channel->write(gathered.data(), gathered.size());
}

short Stream::eventsToSend() const {
    return channel ? channel->events() : static_cast<short>(POLLOUT);
}

short Stream::eventsToReceive() const {
    return channel ? channel->events() : static_cast<short>(POLLIN);
}

std::string Stream::reasonOf(int error) const {
    return channel && error == EPROTO ? channel->failure() : textOf(error);
}

void Stream::receive(char* bytes, std::size_t size, const os::Deadline& deadline) {
    while (size > 0) {
        const auto got = receiveSome(bytes, size);
        if (got > 0) {
            bytes += got;
            size -= static_cast<std::size_t>(got);
        } else if (got == 0) {
            failConnection("the server has closed it");
        } else if (mustWait(errno)) {
            waitInTime(eventsToReceive(), deadline);
        } else if (errno != EINTR) {
            failConnection(reasonOf(errno));
        }
    }
}

ssize_t Stream::receiveSome(char* bytes, std::size_t size) {
    return channel ? channel->read(bytes, size) : receivePlain(bytes, size);
}

ssize_t Stream::receivePlain(char* bytes, std::size_t size) {
    alignas(cmsghdr) std::array<char, CMSG_SPACE(storage_wire::mostDescriptors * sizeof(int))>
        control;
    iovec part{.iov_base = bytes, .iov_len = size};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const auto got = ::recvmsg(descriptor.get(), &message, MSG_CMSG_CLOEXEC);
    if (got > 0 && message.msg_controllen > 0) {
        keepDescriptors(message);
    }
    return got;
}

void Stream::keepDescriptors(msghdr& message) {
    for (auto* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) {
            continue;
        }
        for (std::size_t at = CMSG_LEN(0); at + sizeof(int) <= part->cmsg_len; at += sizeof(int)) {
            int number = -1;
            std::memcpy(&number, CMSG_DATA(part) + (at - CMSG_LEN(0)), sizeof number);
            auto owned = std::make_unique<os::FileDescriptor>(number);
            if (received.size() < storage_wire::mostDescriptors) {
                received.push_back(std::move(owned));
            }
        }
    }
}

bool Stream::isEnded() const {
    pollfd end{.fd = descriptor.get(), .events = POLLRDHUP, .revents = 0};
    return ::poll(&end, 1, 0) != 0;
}

bool Stream::waitForInput(const os::Deadline& deadline) {
    return (channel && channel->hasInput()) || waitFor(POLLIN, deadline);
}

void Stream::endWithoutPeer(std::chrono::milliseconds bound) const {
    storage_wire::endWithoutPeer(descriptor.get(), bound);
}

void Stream::finish(const os::Deadline& deadline) noexcept {
    std::array<char, 4096> ignored{};
    ::shutdown(descriptor.get(), SHUT_WR);
    pollfd input{.fd = descriptor.get(), .events = POLLIN, .revents = 0};
    while (::poll(&input, 1, deadline.remainingForPoll()) > 0 &&
           ::recv(descriptor.get(), ignored.data(), ignored.size(), MSG_DONTWAIT) > 0) {
    }
}

void Stream::interrupt() const {
    ::shutdown(descriptor.get(), SHUT_RDWR);
}

bool Stream::waitFor(short events, const os::Deadline& deadline) {
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

void Stream::waitInTime(short events, const os::Deadline& deadline) {
    if (!waitFor(events, deadline)) {
        failTimeout();
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
