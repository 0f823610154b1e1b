#include "platform/socket/zmq/ArrivedRequests.h"

#include <stdexcept>
#include <utility>

#include "platform/socket/visitors/ProcessVisitors.h"
#include "platform/socket/zmq/ZmqSocket.h"

namespace tarn::socket {

namespace {

// More than come from one visitor's connections in one turn; whoever sends faster than this is
// gathered again with the next request.
constexpr int mostGathered = 256;

bool isRequest(const std::string& fault) {
    if (!fault.empty()) {
        throw std::runtime_error(fault);
    }
    return true;
}

}  // namespace

bool ArrivedRequests::isIdle() const {
    return queue.isEmpty() && !processVisitors().areCounted();
}

bool ArrivedRequests::gather(ZmqSocket& socket) {
    for (int i = 0; i < mostGathered && gatherOne(socket); ++i) {
    }
    const auto first = queue.due();
    return first && *first <= Clock::now();
}

// False when nothing has come.
bool ArrivedRequests::gatherOne(ZmqSocket& socket) {
    Arrived arrived;
    if (!arrived.envelope.receive(socket, arrived.body, arrived.fault)) {
        return false;
    }
    const int connection = arrived.envelope.connectedBy();
    const auto visitor = processVisitors().visitorBy(connection);
    if (processVisitors().mayAsk(connection, queue.waitingOf(visitor))) {
        queue.add(visitor, std::move(arrived));
    } else {
        arrived.envelope.lookedAt();
    }
    return true;
}

bool ArrivedRequests::next(ZmqSocket& socket, Envelope& envelope, zmq::message_t& body) {
    envelope.clear();
    std::string fault;
    if (isIdle()) {
        const bool hasCome = envelope.receive(socket, body, fault);
        return hasCome && isRequest(fault);
    }
    auto arrived = queue.take();
    if (!arrived && gather(socket)) {
        arrived = queue.take();
    }
    if (!arrived) {
        return false;
    }
    arrived->envelope.lookedAt();
    isRequest(arrived->fault);
    envelope = std::move(arrived->envelope);
    body = std::move(arrived->body);
    return true;
}

}  // namespace tarn::socket
