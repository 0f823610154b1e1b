#include "platform/socket/zmq/KnownPeers.h"

#include <utility>

namespace tarn::socket {

namespace {

// Null where the library does not know, which gets() would throw for.
const char* descriptorOf(zmq::message_t& frame) {
    return zmq_msg_gets(frame.handle(), "__fd");
}

}  // namespace

// The text lives with what is known of the connection: its address is that connection's alone.
bool KnownPeers::isNew(zmq::message_t frame) {
    const char* const descriptor = descriptorOf(frame);
    if (descriptor == nullptr) {
        return true;
    }
    const auto known = latest.find(descriptor);
    if (known == latest.end()) {
        latest.emplace(descriptor, std::move(frame));
        return true;
    }
    if (descriptorOf(known->second) == descriptor) {
        return false;
    }
    known->second = std::move(frame);
    return true;
}

}  // namespace tarn::socket
