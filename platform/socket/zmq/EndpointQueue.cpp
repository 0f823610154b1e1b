#include "platform/socket/zmq/EndpointQueue.h"

#include <algorithm>
#include <chrono>

namespace tarn::socket::utils {

namespace {

constexpr std::chrono::seconds patience{10};
constexpr const char* closed = "the listener has ended";

}  // namespace

void EndpointQueue::open() {
    const std::lock_guard lock(mutex);
    isOpen = true;
}

std::string EndpointQueue::ask(Wish wish, const SocketEndpoint& endpoint,
                               const std::function<void()>& wakeUp) {
    std::unique_lock lock(mutex);
    if (!isOpen) {
        return closed;
    }
    const auto mine =
        all.insert(all.end(), Asked{.wish = wish, .endpoint = endpoint, .answer = {}});
    wakeUp();
    const auto isAnswered = [&] { return mine->state == Asked::State::Answered; };
    if (!answered.wait_for(lock, patience, isAnswered) && mine->state == Asked::State::Waiting) {
        mine->answer = "the listener was busy for too long";
    } else {
        // What is done with it, once begun, takes no time worth giving up for.
        answered.wait(lock, isAnswered);
    }
    const auto answer = mine->answer;
    all.erase(mine);
    return answer;
}

std::list<EndpointQueue::Asked>::iterator EndpointQueue::nextWaiting() {
    return std::find_if(all.begin(), all.end(),
                        [](const Asked& asked) { return asked.state == Asked::State::Waiting; });
}

void EndpointQueue::serve(const Fulfil& fulfil) {
    std::unique_lock lock(mutex);
    for (auto next = nextWaiting(); next != all.end(); next = nextWaiting()) {
        next->state = Asked::State::Taken;
        lock.unlock();
        auto answer = fulfil(next->wish, next->endpoint);
        lock.lock();
        next->answer = std::move(answer);
        next->state = Asked::State::Answered;
        answered.notify_all();
    }
}

void EndpointQueue::close() {
    const std::lock_guard lock(mutex);
    isOpen = false;
    for (auto& asked : all) {
        if (asked.state == Asked::State::Waiting) {
            asked.state = Asked::State::Answered;
            asked.answer = closed;
        }
    }
    answered.notify_all();
}

}  // namespace tarn::socket::utils
