// What a server answers to the client of the loop storage: whatever it is, each question ends, with
// an answer or a failure.

#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "fuzz/inputs.pb.h"
#include "fuzz/support/MessageMutator.h"
#include "fuzz/support/Require.h"
#include "fuzz/support/StorageSteps.h"
#include "platform/storage_client/connection/Failure.h"
#include "platform/storage_client/connection/ServerConnection.h"
#include "platform/storage_wire/Greeting.h"
#include "proto/storage_wire.pb.h"

namespace {

using namespace tarn::storage_client;
using tarn::fuzz::require;
using tarn::fuzz::StorageAnswers;
using tarn::os::FileDescriptor;

constexpr std::chrono::milliseconds timeOut{5};  // nothing more will come
constexpr std::size_t mostAnswered = 150000;     // fits into a socket

/// A server that has said all that it will ever say.
class SpokenServer {
  public:
    explicit SpokenServer(const std::string& bytes) : bytes(bytes) {}

    std::unique_ptr<Stream> connect() {
        if (end.isOpen()) {
            throw Failure(TARN_STORAGE_ERROR_CONNECTION, "It has gone");
        }
        std::array<int, 2> pair{};
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pair.data()) ==
                0);
        end = FileDescriptor(pair[0]);
        const auto sent = ::send(end.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        require(sent == static_cast<ssize_t>(bytes.size()));
        return std::make_unique<Stream>(FileDescriptor(pair[1]), "fuzzed");
    }

  private:
    const std::string bytes;
    FileDescriptor end;
};

void ask(ServerConnection& connection, int questions) {
    ServerConnection::Request request;
    request.set_type(tarn::proto::storage_wire::Request::LIST_TRACKS);
    while (questions-- > 0) {
        const auto answer = connection.ask(request);
        connection.descriptions().expect({answer.track_id().begin(), answer.track_id().end()});
        for (const auto track : answer.track_id()) {
            connection.descriptions().get(connection, track);
        }
    }
}

// As those do who read and write a track.
void follow(ServerConnection& connection, int answers) {
    connection.reserveForWorker();
    while (answers-- > 0) {
        ServerConnection::Answer answer;
        std::string payload(connection.receive(answer), '\0');
        connection.receivePayload(payload.data(), payload.size());
        checkAnswer(answer);
    }
    connection.checkServerIsThere();
}

template <typename Use>
void use(const std::string& bytes, Use how) {
    SpokenServer server(bytes);
    try {
        ServerConnection connection([&](const auto&) { return server.connect(); }, timeOut);
        how(connection);
    } catch (const Failure& failure) {
        require(failure.type() != TARN_STORAGE_OK);
    }
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t mostBytes, unsigned seed) {
    StorageAnswers input;
    return tarn::fuzz::mutateBytes(input, data, size, mostBytes, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    StorageAnswers input;
    input.ParsePartialFromArray(data, static_cast<int>(size));
    const auto greeting = tarn::storage_wire::makeGreeting();
    const auto bytes =
        std::string(greeting.data(), greeting.size()) +
        tarn::fuzz::framedSteps(input, [](const auto& step) { return step.answer(); });
    if (bytes.size() <= mostAnswered) {
        use(bytes, [&](auto& connection) { ask(connection, 1 + input.step_size()); });
        use(bytes, [&](auto& connection) { follow(connection, 1 + input.step_size()); });
    }
    return 0;
}
