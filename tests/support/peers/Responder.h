#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace google::protobuf {
class Message;
}

namespace tarn::test {

/// A unique IPC endpoint.
std::string newEndpoint();

/// Answers requests on an endpoint of its own from a thread of its own.
class Responder {
  public:
    using MessagePointer = std::unique_ptr<google::protobuf::Message>;

    struct Behaviour {
        /// An empty request to be received into.
        std::function<MessagePointer()> newRequest;
        /// The answer; null stays silent. Called on the thread.
        std::function<MessagePointer(const google::protobuf::Message& request)> answer;
        /// Called on the thread between requests, every few milliseconds. May be empty.
        std::function<void()> idle;
    };

    /// Serves when this returns.
    Responder(const std::string& endpoint, Behaviour behaviour);
    ~Responder();
    Responder(const Responder&) = delete;
    Responder& operator=(const Responder&) = delete;

  private:
    class Server;
    std::unique_ptr<Server> server;
    std::jthread thread;
};

/// A message that does not parse as any envelope of ours.
Responder::MessagePointer garbage();

}  // namespace tarn::test
