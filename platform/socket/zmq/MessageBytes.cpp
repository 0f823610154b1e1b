#include "platform/socket/zmq/MessageBytes.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/message.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "platform/socket/zmq/SocketSettings.h"

namespace tarn::socket {

namespace {

zmq::message_t frameOfSize(std::size_t size) {
    if (size > largestMessage) {
        throw std::runtime_error("a message of " + std::to_string(size) +
                                 " bytes is too large to be sent, the limit is " +
                                 std::to_string(largestMessage) + " bytes");
    }
    return callZmq("no memory for a message", [&] { return zmq::message_t(size); });
}

void checkSize(const zmq::message_t& frame, std::uint32_t maxBytes) {
    if (frame.size() > maxBytes) {
        throw std::runtime_error("a message of " + std::to_string(frame.size()) +
                                 " bytes was dropped, the limit is " + std::to_string(maxBytes) +
                                 " bytes");
    }
}

bool isParsed(const zmq::message_t& frame, google::protobuf::Message& message, int deepest) {
    google::protobuf::io::CodedInputStream input(frame.data<const std::uint8_t>(),
                                                 static_cast<int>(frame.size()));
    input.SetRecursionLimit(deepest);
    return message.MergePartialFromCodedStream(&input) && input.ConsumedEntireMessage();
}

}  // namespace

zmq::message_t serialise(const google::protobuf::Message& message) {
    const auto size = message.ByteSizeLong();
    auto frame = frameOfSize(size);
    if (!message.SerializePartialToArray(frame.data(), static_cast<int>(size))) {
        throw std::runtime_error("cannot serialise a message");
    }
    return frame;
}

zmq::message_t frameOf(std::initializer_list<std::string_view> parts) {
    std::size_t size = 0;
    for (const auto part : parts) {
        size += part.size();
    }
    auto frame = frameOfSize(size);
    auto* end = static_cast<char*>(frame.data());
    for (const auto part : parts) {
        end = std::copy(part.begin(), part.end(), end);
    }
    return frame;
}

void parse(const zmq::message_t& frame, google::protobuf::Message& message, std::uint32_t maxBytes,
           int deepest) {
    message.Clear();
    checkSize(frame, maxBytes);
    if (frame.size() > largestMessage || !isParsed(frame, message, deepest)) {
        message.Clear();
        throw std::runtime_error("a message of " + std::to_string(frame.size()) +
                                 " bytes that is no " + message.GetTypeName() + " was dropped");
    }
}

std::string bytesOf(const zmq::message_t& frame, std::uint32_t maxBytes) {
    checkSize(frame, maxBytes);
    return frame.to_string();
}

}  // namespace tarn::socket
