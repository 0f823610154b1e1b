#include "platform/socket/zmq/ZmqError.h"

namespace tarn::socket {

void throwZmqError(const std::string& action, const zmq::error_t& failure) {
    // What an answering socket says of an envelope that it cannot deliver.
    const char* const reason =
        failure.num() == EHOSTUNREACH ? "the client has gone" : failure.what();
    const auto text = action + ": " + reason;
    if (failure.num() == ETERM) {
        throw ZmqContextTerminationException(text);
    }
    throw std::runtime_error(text);
}

}  // namespace tarn::socket
