#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/storage_client/connection/Failure.h"
#include "platform/storage_client/connection/Stream.h"
#include "platform/storage_client/connection/TrackDescriptions.h"
#include "proto/storage_wire.fwd.h"

namespace tarn::storage_client {

/// Asks a server over a connected socket. After a failure of the connection or a time-out it is of
/// no further use: every later call fails.
///
/// A server lets go of who asks for nothing for a while, and of others when it has no place left.
/// That is no failure: who asks again is connected anew. It goes for questions only; whoever reads
/// or writes a track keeps the socket that it attached with.
class ServerConnection {
  public:
    using Request = tarn::proto::storage_wire::Request;
    using Answer = tarn::proto::storage_wire::Answer;
    using Milliseconds = std::chrono::milliseconds;

    using Connect = std::function<std::unique_ptr<Stream>(const os::Deadline&)>;
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;

    /// Connects and greets. `timeOut` bounds each of the two and every later exchange; over TCP a
    /// server of which nothing is heard for twice as long has failed.
    ServerConnection(Connect connect, Milliseconds timeOut, Now now = Clock::now);

    /// One request and its answer. Throws Failure, also for an answer that tells of one.
    Answer ask(const Request& request);

    // The halves of it, for who sends requests ahead. A payload goes with a request as it lies.
    struct Part {
        const void* bytes;
        std::size_t size;
    };
    void send(const Request& request);
    /// The same request several times.
    void send(const Request& request, unsigned times);
    void send(const Request& request, const Part* payload, std::size_t parts);
    /// The next answer, whatever it tells; the length of the payload that follows it.
    std::size_t receive(Answer& answer);
    void receivePayload(char* bytes, std::size_t size);
    /// What came with the last answer.
    Stream::Descriptors takeDescriptors() { return stream->takeDescriptors(); }
    /// Throws when the server has gone, even if answers of it are still to be taken.
    void checkServerIsThere();
    /// False when nothing has come before the time-out.
    bool waitForAnswer(Milliseconds timeOut);

    /// From another thread: what is waited for fails, now and later.
    void interrupt();

    Milliseconds timeOut() const { return bound; }
    /// From now on only one worker uses it. Throws when another does already.
    void reserveForWorker();
    /// The worker leaves: waits until the server has let go of it, for a moment at most. What the
    /// server has not answered by then is not heard of any more. Never throws.
    void leave() noexcept;
    TrackDescriptions& descriptions() { return known; }

  private:
    std::unique_ptr<Stream> open() const;
    void greet();
    void renewIfLetGo();
    void renew();
    void checkWish();
    void use(std::unique_ptr<Stream> opened);
    void checkUsable() const;
    [[noreturn]] void failAsTold();
    void sendParts(std::vector<iovec> parts);
    template <typename Exchange>
    auto bounded(Exchange exchange);

    const Connect connect;
    const Milliseconds bound;
    const Now now;  // for how long it rests
    enum class State { Open, WorkersOnly, Broken } state = State::Open;
    Clock::time_point lastExchange = now();
    TrackDescriptions known;

    // Whoever interrupts meets a stream that is being replaced, and must not be forgotten by that.
    std::mutex mutex;  // guards what follows; who uses the connection reads `stream` without it
    enum class Wish { GoOn, End } wish = Wish::GoOn;
    std::unique_ptr<Stream> stream;
};

/// Throws the Failure that the answer tells of, if it does.
void checkAnswer(const ServerConnection::Answer& answer);

}  // namespace tarn::storage_client

struct tarn_storage_connection {
    using ServerConnection = tarn::storage_client::ServerConnection;

    tarn_storage_connection(ServerConnection::Connect connect,
                            ServerConnection::Milliseconds timeOut,
                            ServerConnection::Now now = ServerConnection::Clock::now)
        : connection(std::move(connect), timeOut, std::move(now)) {}

    ServerConnection connection;
};

namespace tarn::storage_client {

/// The object behind a handle; throws Failure for a null one.
inline ServerConnection& checked(tarn_storage_connection* handle) {
    if (handle == nullptr) {
        throw Failure(TARN_STORAGE_ERROR_ARGUMENT, "There is no connection");
    }
    return handle->connection;
}

}  // namespace tarn::storage_client
