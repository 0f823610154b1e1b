#include "platform/socket/zmq/KnownPeers.h"

#include <utility>

#include "platform/socket/visitors/ProcessVisitors.h"

namespace tarn::socket {

namespace {

// Null where the library does not know, which gets() would throw for.
const char* descriptorOf(zmq::message_t& frame) {
    return zmq_msg_gets(frame.handle(), "__fd");
}

void endIfGreedy(zmq::message_t& frame, unsigned topics) {
    if (topics > mostTopics) {
        processVisitors().end(zmq_msg_get(frame.handle(), ZMQ_SRCFD),
                              "he may follow " + std::to_string(mostTopics) + " topics by one");
    }
}

}  // namespace

// The text lives with what is known of the connection: its address is that connection's alone.
KnownPeers::Peers::iterator KnownPeers::find(const char* descriptor) {
    const auto known = peers.find(descriptor);
    return known != peers.end() && descriptorOf(known->second.latest) == descriptor ? known
                                                                                    : peers.end();
}

bool KnownPeers::came(zmq::message_t frame) {
    const char* const descriptor = descriptorOf(frame);
    if (descriptor == nullptr) {
        return true;
    }
    if (const auto known = find(descriptor); known != peers.end()) {
        endIfGreedy(frame, ++known->second.topics);
        return false;
    }
    peers.insert_or_assign(descriptor, Peer{.latest = std::move(frame), .topics = 1});
    return true;
}

void KnownPeers::left(zmq::message_t& frame) {
    const char* const descriptor = descriptorOf(frame);
    const auto known = descriptor == nullptr ? peers.end() : find(descriptor);
    if (known != peers.end() && known->second.topics > 0) {
        --known->second.topics;
    }
}

void KnownPeers::saidNonsense(zmq::message_t& frame) {
    if (descriptorOf(frame) != nullptr) {
        processVisitors().end(zmq_msg_get(frame.handle(), ZMQ_SRCFD),
                              "what he says is no subscription");
    }
}

}  // namespace tarn::socket
