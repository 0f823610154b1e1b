#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/socket/zmq/Frame.h"

namespace google::protobuf {
class Message;
}

namespace tarn::socket {

/// Between messages, bytes and the one frame that carries them. All throw std::runtime_error: for
/// what is larger than `largestMessage` when sent, larger than `maxBytes` when received, or does
/// not parse.
Frame serialise(const google::protobuf::Message& message);
Frame frameOf(std::initializer_list<std::string_view> parts);
std::string_view viewOf(Frame& frame);
void parse(Frame& frame, google::protobuf::Message& message, std::uint32_t maxBytes);
std::string bytesOf(Frame& frame, std::uint32_t maxBytes);

}  // namespace tarn::socket
