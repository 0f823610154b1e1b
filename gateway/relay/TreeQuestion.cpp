#include "gateway/relay/TreeQuestion.h"

#include <exception>
#include <utility>

#include "platform/socket/Exchange.h"
#include "proto/api_service.pb.h"

namespace tarn::gateway {

using proto::api_service::ApiToServiceRequest;
using tarn::socket::ClosePolicy;
using tarn::socket::Protocol;
using tarn::socket::Socket;

namespace {

constexpr std::uint32_t largestAnswer = 64U << 20U;
constexpr std::uint32_t connectWithinMs = 500;
constexpr std::chrono::milliseconds answerWithin{5000};

}  // namespace

TreeQuestion::TreeQuestion(const tarn::socket::SocketEndpoint& requests)
    : requests(requests), thread([this](const std::stop_token& stop) { run(stop); }) {}

TreeQuestion::~TreeQuestion() {
    thread.request_stop();
    stopping.ring();
    thread.join();
}

bool TreeQuestion::ask() {
    const std::lock_guard lock(mutex);
    if (state != State::Idle) {
        return false;
    }
    state = State::Asking;
    wish.notify_all();
    return true;
}

std::optional<TreeQuestion::Outcome> TreeQuestion::take() {
    const std::lock_guard lock(mutex);
    if (state != State::Answered) {
        return std::nullopt;
    }
    answered.reset();
    state = State::Idle;
    return std::exchange(outcome, Outcome());
}

void TreeQuestion::run(const std::stop_token& stop) {
    std::unique_lock lock(mutex);
    while (wish.wait(lock, stop, [this] { return state == State::Asking; })) {
        lock.unlock();
        auto result = askOnce();
        lock.lock();
        outcome = std::move(result);
        state = State::Answered;
        answered.ring();
    }
}

TreeQuestion::Outcome TreeQuestion::askOnce() {
    try {
        return {.answer = answerWithinBound(), .failure = {}};
    } catch (const std::exception& failure) {
        return {.answer = {}, .failure = failure.what()};
    }
}

std::string TreeQuestion::answerWithinBound() {
    Socket socket("requests", ClosePolicy::Discard);
    socket.createAndConnect(Protocol::Request, requests, connectWithinMs);
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::GET_MONITORING_INFO);
    socket.sendProtoBuf(&request);
    const bool hasAnswer = tarn::socket::awaitAnswer(
        socket, {.within = answerWithin, .interruption = stopping.descriptor()});
    return hasAnswer ? socket.receiveBytes(largestAnswer) : std::string();
}

}  // namespace tarn::gateway
