#pragma once

#include <cstdint>

#include "platform/socket/Frame.h"

namespace google::protobuf {
class Message;
}

namespace tarn::socket {

/// Required fields need not be set. Throws std::runtime_error when the message is too large for the
/// transport.
Frame serialise(const google::protobuf::Message& message);

/// Throws std::runtime_error, and leaves `message` empty, when the frame is larger than `maxBytes`
/// or does not parse.
void parse(Frame& frame, google::protobuf::Message& message, std::uint32_t maxBytes);

}  // namespace tarn::socket
