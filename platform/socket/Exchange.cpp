#include "platform/socket/Exchange.h"

#include <poll.h>

#include <algorithm>

#include "platform/os/Deadline.h"
#include "platform/socket/NobodyListens.h"

namespace tarn::socket {

using std::chrono::milliseconds;

namespace {

bool hasAnswered(Socket& socket, milliseconds bound, int interruption) {
    std::string error;
    const int polled =
        socket.pollWith(interruption, static_cast<std::uint32_t>(bound.count()), error);
    if (polled != 0 && polled != 1) {
        throw std::runtime_error(error);
    }
    return polled == 0;
}

os::Deadline deadlineOf(const AnswerWait& wait) {
    const auto passed =
        std::chrono::floor<milliseconds>(std::chrono::steady_clock::now() - wait.since);
    return os::Deadline(wait.within - passed);
}

bool isReadable(int descriptor) {
    pollfd input{.fd = descriptor, .events = POLLIN, .revents = 0};
    return ::poll(&input, 1, 0) > 0;
}

}  // namespace

bool awaitAnswer(Socket& socket, const AnswerWait& wait) {
    const auto deadline = deadlineOf(wait);
    const bool looks = wait.looks.at != nullptr;
    auto next = looks ? wait.looks.first : wait.within;
    while (!hasAnswered(socket, std::min(next, deadline.remaining()), wait.interruption)) {
        if (isReadable(wait.interruption)) {
            return false;
        }
        if (deadline.hasPassed()) {
            throw NoAnswer(
                NoAnswer::Reason::Silence, socket.debugString(),
                "nothing was received within " + std::to_string(wait.within.count()) + " ms");
        }
        if (looks) {
            checkSomebodyListens(socket, *wait.looks.at,
                                 std::min(wait.looks.within, deadline.remaining()));
            next = wait.looks.again;
        }
    }
    return true;
}

bool exchange(Socket& socket, const google::protobuf::Message& request,
              google::protobuf::Message& reply, std::uint32_t largestReply,
              const AnswerWait& wait) {
    socket.sendProtoBuf(&request);
    if (!awaitAnswer(socket, wait)) {
        return false;
    }
    socket.receiveProtoBuf(&reply, largestReply);
    return true;
}

void checkSomebodyListens(const Socket& socket, const SocketEndpoint& endpoint,
                          milliseconds within) {
    if (const auto why = whyNobodyListens(endpoint, within)) {
        throw NoAnswer(NoAnswer::Reason::NobodyListens, socket.debugString(), *why);
    }
}

}  // namespace tarn::socket
