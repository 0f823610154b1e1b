// What a client sends to the loop storage, through a real session into real tracks in memory:
// whatever it is, the session ends when the client has gone, and what it has answered can be read.

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "fuzz/inputs.pb.h"
#include "fuzz/support/MessageMutator.h"
#include "fuzz/support/PrivateFolder.h"
#include "fuzz/support/QuietLog.h"
#include "fuzz/support/Require.h"
#include "fuzz/support/StorageSteps.h"
#include "peers/loop_storage/operations/Storage.h"
#include "peers/loop_storage/server/Session.h"
#include "platform/storage_wire/Greeting.h"
#include "platform/storage_wire/MessageHeader.h"
#include "proto/storage_wire.pb.h"

namespace {

using namespace tarn::peers::loop_storage;
using tarn::fuzz::require;
using tarn::fuzz::StorageSession;

constexpr std::uint64_t capacity = 64U << 20U;
constexpr unsigned inputsOfAStorage = 2000;
constexpr std::chrono::seconds sessionEndsWithin{20};

/// Tracks that inputs leave behind are there for the next ones, for a while.
struct Bed {
    ~Bed() {
        storage.finish();
        context.restart();
        context.poll();  // what the storage's threads have left for sessions that are over
    }

    tarn::fuzz::PrivateFolder folder;
    boost::asio::io_context context;
    RequestGate gate;
    Storage storage{folder.path(), capacity, BootId{'b'}};
};

/// The client's end: never waits, and takes whatever is answered.
class Client {
  public:
    explicit Client(int end) : end(end) {}
    ~Client() { ::close(end); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// False once there is nothing more to send.
    bool sendOn(std::string_view& bytes) {
        const auto sent = ::send(end, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        bytes.remove_prefix(sent > 0 ? static_cast<std::size_t>(sent) : 0);
        return !bytes.empty() && (sent > 0 || errno == EAGAIN);
    }
    void leave() { ::shutdown(end, SHUT_WR); }
    void take() {
        std::array<char, 65536> buffer;
        for (ssize_t size = 0;
             (size = ::recv(end, buffer.data(), buffer.size(), MSG_DONTWAIT)) > 0;) {
            taken.append(buffer.data(), static_cast<std::size_t>(size));
        }
    }

    std::string taken;

  private:
    const int end;
};

void checkAnswers(std::string_view bytes) {
    using namespace tarn::storage_wire;
    if (bytes.size() < greetingSize) {
        return;
    }
    require(checkGreeting(bytes.substr(0, greetingSize)) == GreetingCheck::Fits);
    bytes.remove_prefix(greetingSize);
    while (bytes.size() >= headerSize) {
        const auto header = decodeHeader(bytes.data());
        require(header.messageSize <= largestAnswer && header.payloadSize <= largestPayload);
        bytes.remove_prefix(headerSize);
        if (bytes.size() < header.messageSize) {
            return;  // the client has gone meanwhile
        }
        tarn::proto::storage_wire::Answer answer;
        require(answer.ParseFromArray(bytes.data(), static_cast<int>(header.messageSize)));
        bytes.remove_prefix(header.messageSize);
        bytes.remove_prefix(std::min<std::size_t>(bytes.size(), header.payloadSize));
    }
}

void run(Bed& bed, std::string_view bytes) {
    std::array<int, 2> ends{};
    require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0);
    Client client(ends[0]);
    auto& context = bed.context;
    context.restart();
    Session::Socket socket(context, boost::asio::generic::stream_protocol(AF_UNIX, 0), ends[1]);
    bool ended = false;
    const SessionLimits limits;
    std::make_shared<Session>(std::move(socket), ClientIdentity::Anybody(), bed.gate, bed.storage,
                              limits, [&] { ended = true; })
        ->start();
    const auto deadline = std::chrono::steady_clock::now() + sessionEndsWithin;
    bool sending = true;
    while (!ended) {
        if (sending && !(sending = client.sendOn(bytes))) {
            client.leave();
        }
        client.take();
        context.run_for(std::chrono::milliseconds(context.poll() > 0 ? 0 : 1));
        context.restart();
        require(std::chrono::steady_clock::now() < deadline);
    }
    client.take();
    checkAnswers(client.taken);
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t mostBytes, unsigned seed) {
    StorageSession input;
    return tarn::fuzz::mutateBytes(input, data, size, mostBytes, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static std::unique_ptr<Bed> bed;
    static unsigned inputs = 0;
    tarn::fuzz::logIntoNothing();
    if (!bed || ++inputs % inputsOfAStorage == 0) {
        bed.reset();
        bed = std::make_unique<Bed>();
    }
    StorageSession input;
    input.ParsePartialFromArray(data, static_cast<int>(size));
    const auto greeting = tarn::storage_wire::makeGreeting();
    run(*bed, std::string(greeting.data(), greeting.size()) +
                  tarn::fuzz::framedSteps(input, [](const auto& step) { return step.request(); }));
    return 0;
}
