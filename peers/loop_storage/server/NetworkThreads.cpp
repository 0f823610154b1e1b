#include "peers/loop_storage/server/NetworkThreads.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <string>
#include <system_error>

#include "platform/utils/Log.h"

namespace tarn::peers::loop_storage {

namespace {

/// Thrown by a handler: the thread that came by it ends.
struct EndOfThread {};

}  // namespace

NetworkThreads::NetworkThreads(boost::asio::io_context& context, const Limits& limits)
    : context(context), limits(limits) {}

void NetworkThreads::run() {
    Lock lock(mutex);
    start();
    adapt(0);
    while (!isOver()) {
        watch(lock);
    }
    joinEnded();
}

std::size_t NetworkThreads::threadCount() const {
    const Lock lock(mutex);
    return serving;
}

bool NetworkThreads::isOver() const {
    return serving == 0;
}

void NetworkThreads::start() {
    auto& worker = workers.emplace_back([this] { noteAccess(); });
    try {
        worker.thread = std::thread([this, &worker] { serve(worker); });
        ++serving;
    } catch (const std::system_error&) {
        workers.pop_back();
        throw;
    }
}

void NetworkThreads::serve(Worker& worker) {
    DiskAccesses::Watch(&worker.accesses);
    const auto end = runHandlers();
    DiskAccesses::Watch(nullptr);
    const Lock lock(mutex);
    worker.hasEnded = true;
    --serving;
    toEnd -= end == End::Superfluous ? 1 : 0;
    changed.notify_all();
}

NetworkThreads::End NetworkThreads::runHandlers() {
    for (;;) {
        try {
            context.run();
            return End::NothingLeft;
        } catch (const EndOfThread&) {
            return End::Superfluous;
        } catch (const std::exception& failure) {
            utils::logError(std::string("A handler has failed: ") + failure.what());
        }
    }
}

// Called at each access: the watch is woken by the first one after a quiet time.
void NetworkThreads::noteAccess() {
    if (!isWatching.load()) {
        const Lock lock(mutex);
        isWatching = true;
        changed.notify_all();
    }
}

void NetworkThreads::watch(Lock& lock) {
    if (!isWatching) {
        changed.wait(lock, [this] { return isOver() || isWatching; });
    }
    changed.wait_for(lock, limits.look, [this] { return isOver(); });
    joinEnded();
    if (isOver() || look() || serving > limits.atOnce) {
        return;
    }
    isWatching = false;
    if (look()) {  // an access that began before it could see that
        isWatching = true;
    }
}

// Whether there were accesses since the last look, or there is one.
bool NetworkThreads::look() {
    bool isStirring = false;
    std::size_t held = 0;
    for (auto& worker : workers) {
        const auto count = worker.accesses.count();
        const bool isInside = count % 2 == 1;
        held += isInside && count == worker.lastSeen ? 1 : 0;
        isStirring = isStirring || isInside || count != worker.lastSeen;
        worker.lastSeen = count;
    }
    adapt(held);
    return isStirring;
}

void NetworkThreads::adapt(std::size_t held) {
    if (context.stopped()) {
        return;
    }
    const auto wanted = std::min(limits.atOnce + held, limits.most);
    try {
        while (serving - toEnd < wanted) {
            start();
        }
    } catch (const std::system_error& failure) {
        utils::logError(std::string("No further thread for clients: ") + failure.what());
    }
    looksWithTooMany = serving - toEnd > wanted ? looksWithTooMany + 1 : 0;
    if (looksWithTooMany > limits.patience) {
        endOne();
    }
}

void NetworkThreads::endOne() {
    ++toEnd;
    boost::asio::post(context, [] { throw EndOfThread(); });
}

void NetworkThreads::joinEnded() {
    for (auto worker = workers.begin(); worker != workers.end();) {
        if (!worker->hasEnded) {
            ++worker;
            continue;
        }
        worker->thread.join();
        worker = workers.erase(worker);
    }
}

}  // namespace tarn::peers::loop_storage
