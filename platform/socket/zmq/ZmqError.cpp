#include "platform/socket/zmq/ZmqError.h"

#include <zmq.h>

#include <cerrno>
#include <stdexcept>

#include "platform/socket/SocketTypes.h"

namespace tarn::socket {

namespace {

std::string reason(int code) {
    // What an answering socket says of an envelope that it cannot deliver.
    return code == EHOSTUNREACH ? "the client has gone" : zmq_strerror(code);
}

}  // namespace

void throwZmqError(const std::string& action, int code) {
    const std::string text = action + ": " + reason(code);
    if (code == ETERM) {
        throw ZmqContextTerminationException(text);
    }
    throw std::runtime_error(text);
}

}  // namespace tarn::socket
