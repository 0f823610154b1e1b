#include "peers/pipeline_channel/MessageChannel.h"

#include <google/protobuf/message_lite.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace tarn::peers {

namespace {

constexpr std::size_t headerBytes = 4;

void appendLength(std::string& frame, std::size_t length) {
    for (std::size_t i = 0; i < headerBytes; ++i) {
        frame.push_back(static_cast<char>((length >> (8 * i)) & 0xFF));
    }
}

std::size_t readLength(std::string_view frame) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < headerBytes; ++i) {
        length |= std::size_t{static_cast<unsigned char>(frame[i])} << (8 * i);
    }
    return length;
}

void setSendBound(int descriptor) {
    const timeval bound{.tv_sec = 5, .tv_usec = 0};
    if (::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof bound) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipeline channel");
    }
}

}  // namespace

std::pair<os::FileDescriptor, os::FileDescriptor> MessageChannel::makePair() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    return {os::FileDescriptor(ends[0]), os::FileDescriptor(ends[1])};
}

MessageChannel::MessageChannel(os::FileDescriptor descriptor, std::size_t maxBytes)
    : end(std::move(descriptor)), maxBytes(maxBytes) {
    setSendBound(end.get());
}

void MessageChannel::send(const google::protobuf::MessageLite& message) {
    std::string frame;
    appendLength(frame, message.ByteSizeLong());
    message.AppendPartialToString(&frame);
    std::size_t sent = 0;
    while (sent < frame.size()) {
        const ssize_t count =
            ::send(end.get(), frame.data() + sent, frame.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "pipeline channel");
        }
        sent += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

MessageChannel::Input MessageChannel::read() {
    std::array<char, 65536> buffer;
    received.erase(0, std::exchange(handedOut, 0));
    // One message at most is kept ahead of what `next` has handed out.
    while (received.size() <= maxBytes + headerBytes) {
        const ssize_t count = ::recv(end.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (count > 0) {
            received.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (count < 0 && errno == EINTR) {
            continue;
        } else {
            const bool open = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
            return open ? Input::Open : Input::Closed;
        }
    }
    return Input::Open;
}

bool MessageChannel::next(google::protobuf::MessageLite& message) {
    const auto left = std::string_view(received).substr(handedOut);
    if (left.size() < headerBytes) {
        return false;
    }
    const std::size_t length = readLength(left);
    if (length > maxBytes) {
        throw std::runtime_error("pipeline channel: message of " + std::to_string(length) +
                                 " bytes is too large");
    }
    if (left.size() < headerBytes + length) {
        return false;
    }
    if (!message.ParsePartialFromArray(left.data() + headerBytes, static_cast<int>(length))) {
        throw std::runtime_error("pipeline channel: message cannot be parsed");
    }
    handedOut += headerBytes + length;
    return true;
}

}  // namespace tarn::peers
