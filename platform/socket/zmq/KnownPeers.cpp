#include "platform/socket/zmq/KnownPeers.h"

#include <utility>

namespace tarn::socket {

// The text lives with what is known of the connection: its address is that connection's alone.
bool KnownPeers::isNew(Frame frame) {
    const char* const descriptor = frame.property("__fd");
    if (descriptor == nullptr) {
        return true;
    }
    const auto known = latest.find(descriptor);
    if (known == latest.end()) {
        latest.emplace(descriptor, std::move(frame));
        return true;
    }
    if (known->second.property("__fd") == descriptor) {
        return false;
    }
    known->second = std::move(frame);
    return true;
}

}  // namespace tarn::socket
