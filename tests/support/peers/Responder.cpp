#include "tests/support/peers/Responder.h"

#include <google/protobuf/message.h>
#include <google/protobuf/unknown_field_set.h>

#include "platform/os/SignalsBlocked.h"
#include "platform/socket/Socket.h"
#include "platform/utils/UuidGenerator.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::test {

std::string newEndpoint() {
    return "ipc:///tmp/tarn-test-" + utils::UuidGenerator::Generate();
}

class Responder::Server {
  public:
    Server(const std::string& endpoint, Behaviour behaviour)
        : behaviour(std::move(behaviour)), socket("responder", tarn::socket::ClosePolicy::Flush) {
        socket.createAndConnect(tarn::socket::Protocol::Reply,
                                tarn::socket::SocketEndpoint::FromString(endpoint), 0);
    }

    void run(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            std::string error;
            if (socket.poll(10, error) == 0) {
                serve();
            }
            if (behaviour.idle) {
                behaviour.idle();
            }
        }
    }

  private:
    void serve() {
        try {
            const auto request = behaviour.newRequest();
            socket.receiveProtoBuf(request.get(), 16 * 1024 * 1024);
            if (const auto answer = behaviour.answer(*request)) {
                socket.sendProtoBuf(answer.get());
            }
        } catch (const std::runtime_error&) {
            // The client has gone; the next one is served.
        }
    }

    const Behaviour behaviour;
    tarn::socket::Socket socket;
};

Responder::Responder(const std::string& endpoint, Behaviour behaviour)
    : server(std::make_unique<Server>(endpoint, std::move(behaviour))) {
    const os::SignalsBlocked duringStart;  // they are for the program that is tested
    thread = std::jthread([this](const std::stop_token& stop) { server->run(stop); });
}

Responder::~Responder() {
    thread.request_stop();
    thread.join();
}

Responder::MessagePointer garbage() {
    auto message = std::make_unique<proto::job_monitoring::JobDescription>();
    // The number of an extension in every envelope, and no message in it.
    message->GetReflection()->MutableUnknownFields(message.get())->AddLengthDelimited(100, "\xff");
    message->GetReflection()->MutableUnknownFields(message.get())->AddLengthDelimited(101, "\xff");
    return message;
}

}  // namespace tarn::test
