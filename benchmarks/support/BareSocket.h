#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tarn::benchmarks {

class Samples;

/// A messaging socket without anything of ours on top: what the measurements are compared with.
/// Throws std::runtime_error.
class BareSocket {
  public:
    enum class Kind { Request, Router, Push, Pull, Publish, Subscribe };

    /// What sockets of one process may share: a thread that does their input and output. Not made
    /// before a fork and used after it.
    using Context = std::shared_ptr<void>;
    static Context makeContext();

    /// A router, a pulling and a publishing side bind, the others connect. `topic` is what a
    /// subscriber subscribes to.
    BareSocket(Kind kind, const std::string& address, Context context = makeContext(),
               const std::string& topic = "");
    ~BareSocket();
    BareSocket(const BareSocket&) = delete;
    BareSocket& operator=(const BareSocket&) = delete;

    /// Request side: sends and waits 5 seconds at most for the answer.
    std::string request(const std::string& bytes);
    /// The same, and returns the answer's size only.
    std::size_t ask(const std::string& bytes);

    /// Router: answers every request with `bytes`, for ever.
    [[noreturn]] void answerAlways(const std::string& bytes);

    /// Router: waits for one request and answers it.
    using Answer = std::function<std::string(const std::string& request)>;
    void answerOne(const Answer& answer);

    /// Waits for room, 5 seconds at most.
    void send(const std::string& bytes);

    /// Waits for a message, however long, and hands it on as it is.
    void forwardTo(BareSocket& other);

    /// The next message. False when none came within the time.
    bool receive(std::string& bytes, std::chrono::milliseconds within = std::chrono::seconds(5));

    /// For zmq_poll.
    void* handle() const { return socket; }

  private:
    const Context context;
    void* const socket;
};

/// Asks so often, one after the other, and adds how long each took.
void timeCalls(BareSocket& socket, const std::string& request, int calls, Samples& samples);

}  // namespace tarn::benchmarks
