#include "platform/socket/curve/Authentication.h"

#include <chrono>
#include <utility>
#include <vector>

#include "platform/os/SignalsBlocked.h"
#include "platform/socket/curve/AuthenticationMessage.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"
#include "platform/utils/RepeatedFailure.h"

namespace tarn::socket {

namespace {

constexpr auto endpoint = "inproc://zeromq.zap.01";  // where the library asks

// Nothing is done when it has passed: what there is to do wakes the thread.
constexpr std::chrono::hours longestWait{1};

// Where nothing tells of changes.
constexpr std::chrono::seconds betweenLooks{1};

std::vector<std::string> receiveFrames(ZmqSocket& socket) {
    std::vector<std::string> frames;
    zmq::message_t frame;
    while (socket.receive(frame)) {
        frames.push_back(frame.to_string());
        if (!frame.more()) {
            break;
        }
    }
    return frames;
}

void sendFrames(ZmqSocket& socket, const std::vector<std::string>& frames) {
    for (const auto& text : frames) {
        zmq::message_t frame(text);
        const bool isLast = &text == &frames.back();
        socket.send(frame, isLast ? zmq::send_flags::none : zmq::send_flags::sndmore);
    }
}

std::string described(const curve::Question& question) {
    return "Connection from " + utils::printable(question.address) + " refused: " +
           (question.key.empty() ? "it has no key"
                                 : "key " + utils::printable(question.key) + " may not connect");
}

}  // namespace

TcpProtection::Authentication::Authentication(std::shared_ptr<State> protection)
    : state(std::move(protection)),
      otherInput{stop.descriptor(), state->security.clients->descriptor()},
      questions(Context::Get(), zmq::socket_type::rep) {
    questions.set(zmq::sockopt::linger, 0);
    questions.bind(endpoint);
    const os::SignalsBlocked duringStart;
    thread = std::thread([this] { run(); });
}

TcpProtection::Authentication::~Authentication() {
    mustStop = true;
    stop.ring();
    thread.join();
}

void TcpProtection::Authentication::run() {
    try {
        serve();
    } catch (const ZmqContextTerminationException&) {
        return;  // there will be no questions any more
    }
}

void TcpProtection::Authentication::serve() {
    const bool isTold = state->security.clients->descriptor() >= 0;
    const auto wait = isTold ? std::chrono::milliseconds(longestWait) : betweenLooks;
    while (!mustStop) {
        try {
            const bool isAsked =
                questions.waitFor(ZMQ_POLLIN, os::Deadline(wait), otherInput.descriptor());
            follow();
            if (isAsked) {
                answerOne();
            }
        } catch (const ZmqContextTerminationException&) {
            throw;
        } catch (const std::exception& failure) {
            failed.log(std::string("Sockets > cannot look who connects: ") + failure.what());
        }
    }
}

// Also before each answer: who was taken out a moment ago does not get in.
void TcpProtection::Authentication::follow() {
    if (!state->security.clients->refresh()) {
        return;
    }
    const auto ended = state->connections.endUnless(
        [this](const std::string& key, Entrance entrance) { return state->admits(key, entrance); });
    utils::logInfo("Sockets > keys of clients have changed: " + std::to_string(ended) +
                   " connections ended, which are made again by whom may connect");
}

// A socket that has protected endpoints may have files beside them, of which the library asks too.
bool TcpProtection::Authentication::mayConnect(const curve::Question& question) const {
    return question.isOverIpc ||
           (question.entrance && state->admits(question.key, *question.entrance));
}

void TcpProtection::Authentication::answerOne() {
    const auto frames = receiveFrames(questions);
    if (frames.empty()) {
        return;
    }
    const auto question = curve::questionOf(frames);
    const auto asked = question.value_or(curve::Question());
    const bool isAdmitted = question && mayConnect(*question);
    sendFrames(questions, curve::answerTo(asked, isAdmitted));
    if (!isAdmitted) {
        refused.log("Sockets > " + described(asked));
    }
}

}  // namespace tarn::socket
