#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <string>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::socket::utils {

/// Endpoints on their way to the thread that binds and unbinds them. Thread-safe.
class EndpointQueue {
  public:
    /// What is to be done with an endpoint.
    enum class Wish { Bind, Unbind };

    /// Does it; the text of what went wrong, empty when nothing did.
    using Fulfil = std::function<std::string(Wish, const SocketEndpoint&)>;

    /// From now on there is a thread that serves.
    void open();

    /// Hands the endpoint over and waits for the answer, with which it returns. `wakeUp` is called
    /// once the endpoint can be taken. A serving thread that is too busy gets it withdrawn.
    std::string ask(Wish wish, const SocketEndpoint& endpoint, const std::function<void()>& wakeUp);

    /// Answers all who ask. Called by the serving thread.
    void serve(const Fulfil& fulfil);

    /// Nobody serves any more: refuses who asks now, or still waits.
    void close();

  private:
    struct Asked {
        enum class State { Waiting, Taken, Answered };
        Wish wish;
        SocketEndpoint endpoint;
        State state = State::Waiting;
        std::string answer;
    };

    std::list<Asked>::iterator nextWaiting();

    std::mutex mutex;
    std::condition_variable answered;
    bool isOpen = false;
    std::list<Asked> all;
};

}  // namespace tarn::socket::utils
