#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "platform/os/WakeUp.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::gateway {

/// Asks the service for its device tree, on a thread of its own, since the answer may take seconds.
///
///     Idle --ask--> Asking --answer or failure--> Answered --take--> Idle
///
/// One thread at a time.
class TreeQuestion {
  public:
    struct Outcome {
        std::string answer;   ///< as it was received; empty after a failure
        std::string failure;  ///< why there is no answer
    };

    /// Asks nothing yet. Throws std::runtime_error when no descriptor is left.
    explicit TreeQuestion(const tarn::socket::SocketEndpoint& requests);
    /// Gives up what is under way: within half a second.
    ~TreeQuestion();

    /// Does nothing unless idle, which is false; else asks. Without a service at the endpoint that
    /// fails after half a second, without an answer after five.
    bool ask();

    /// Readable, for poll, when `take` has something.
    int descriptor() const { return answered.descriptor(); }

    /// How the question ended; nothing while it is under way, or where none was asked.
    std::optional<Outcome> take();

  private:
    enum class State { Idle, Asking, Answered };

    void run(const std::stop_token& stop);
    Outcome askOnce();
    std::string answerWithinBound();

    const tarn::socket::SocketEndpoint requests;
    tarn::os::WakeUp answered;
    tarn::os::WakeUp stopping;
    std::mutex mutex;
    std::condition_variable_any wish;
    // Guarded by mutex:
    State state = State::Idle;
    Outcome outcome;

    std::jthread thread;  // last: it uses the others
};

}  // namespace tarn::gateway
