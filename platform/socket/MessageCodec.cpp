#include "platform/socket/MessageCodec.h"

#include <google/protobuf/message.h>

#include <stdexcept>
#include <string>

#include "platform/socket/SocketSettings.h"

namespace tarn::socket {

Frame serialise(const google::protobuf::Message& message) {
    const auto size = message.ByteSizeLong();
    if (size > largestMessage) {
        throw std::runtime_error("a message of " + std::to_string(size) +
                                 " bytes is too large to be sent, the limit is " +
                                 std::to_string(largestMessage) + " bytes");
    }
    Frame frame(size);
    if (!message.SerializePartialToArray(frame.data(), static_cast<int>(size))) {
        throw std::runtime_error("cannot serialise a message");
    }
    return frame;
}

void parse(Frame& frame, google::protobuf::Message& message, std::uint32_t maxBytes) {
    message.Clear();
    if (frame.size() > maxBytes) {
        throw std::runtime_error("a message of " + std::to_string(frame.size()) +
                                 " bytes was dropped, the limit is " + std::to_string(maxBytes) +
                                 " bytes");
    }
    if (frame.size() > largestMessage ||
        !message.ParsePartialFromArray(frame.data(), static_cast<int>(frame.size()))) {
        message.Clear();
        throw std::runtime_error("a message of " + std::to_string(frame.size()) +
                                 " bytes that is no " + message.GetTypeName() + " was dropped");
    }
}

}  // namespace tarn::socket
