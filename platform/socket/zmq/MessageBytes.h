#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <zmq.hpp>

namespace google::protobuf {
class Message;
}

namespace tarn::socket {

/// Levels of messages that any message may have.
inline constexpr int deepestMessage = 100;

/// Between messages, bytes and the one frame that carries them. All throw std::runtime_error: for
/// what is larger than `largestMessage` when sent, larger than `maxBytes` or nested deeper than
/// `deepest` levels when received, or does not parse.
zmq::message_t serialise(const google::protobuf::Message& message);
zmq::message_t frameOf(std::initializer_list<std::string_view> parts);
void parse(const zmq::message_t& frame, google::protobuf::Message& message, std::uint32_t maxBytes,
           int deepest = deepestMessage);
std::string bytesOf(const zmq::message_t& frame, std::uint32_t maxBytes);

}  // namespace tarn::socket
