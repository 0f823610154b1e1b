#include "peers/loop_storage/disk/DiskPool.h"

#include <algorithm>
#include <string>
#include <system_error>
#include <utility>

#include "platform/utils/Log.h"

namespace tarn::peers::loop_storage {

struct DiskQueue::State {
    const std::size_t atOnce;
    std::deque<Work> waiting{};
    std::size_t running = 0;
    bool isReady = false;
};

DiskQueue::DiskQueue(std::size_t atOnce)
    : state(std::make_shared<State>(State{.atOnce = atOnce})) {}
DiskQueue::~DiskQueue() = default;

namespace {

void runLogged(const DiskQueue::Work& work) {
    try {
        work();
    } catch (const std::exception& failure) {
        utils::logError(std::string("What waited for the disk has failed: ") + failure.what());
    }
}

}  // namespace

DiskPool::DiskPool(const Limits& limits) : limits(limits) {
    const std::lock_guard lock(mutex);
    startThread();
}

DiskPool::~DiskPool() {
    finish();
    {
        const std::lock_guard lock(mutex);
        state = State::Ending;
        ended.splice(ended.end(), threads);
    }
    changed.notify_all();
    for (auto& thread : ended) {
        thread.join();
    }
}

bool DiskPool::add(DiskQueue& queue, Work work) {
    const std::lock_guard lock(mutex);
    const auto& target = queue.state;
    if (target->waiting.size() >= limits.waiting) {
        return false;
    }
    target->waiting.push_back(std::move(work));
    ++pieces;
    makeReady(target);
    haveItDone();
    return true;
}

void DiskPool::finish() {
    std::unique_lock lock(mutex);
    allDone.wait(lock, [this] { return pieces == 0; });
}

std::size_t DiskPool::threadCount() const {
    const std::lock_guard lock(mutex);
    return threads.size();
}

void DiskPool::makeReady(const Queue& queue) {
    if (!queue->isReady && !queue->waiting.empty() && queue->running < queue->atOnce) {
        queue->isReady = true;
        ready.push_back(queue);
    }
}

// An idle thread counts as such until it has woken up, so there must be one for each ready queue.
void DiskPool::haveItDone() {
    if (ready.size() > idle && threads.size() < limits.threads) {
        startThread();
    }
    changed.notify_one();
}

void DiskPool::startThread() {
    for (auto& thread : std::exchange(ended, {})) {
        thread.join();
    }
    const auto self = threads.emplace(threads.end());
    try {
        *self = std::thread([this, self] { run(self); });
    } catch (const std::system_error& failure) {
        threads.erase(self);
        if (threads.empty()) {
            throw;
        }
        utils::logError(std::string("No further thread for disks: ") + failure.what());
    }
}

void DiskPool::run(Threads::iterator self) {
    std::unique_lock lock(mutex);
    while (waitForWork(lock)) {
        auto piece = take();
        lock.unlock();
        runLogged(piece.work);
        piece.work = {};  // may be the last to hold its queue's owner
        lock.lock();
        end(piece.queue);
    }
    if (state == State::Open) {
        retire(self);
    }
}

// False when the thread is to end.
bool DiskPool::waitForWork(std::unique_lock<std::mutex>& lock) {
    const auto hasWork = [this] { return state == State::Ending || nextQueue() != ready.end(); };
    while (!hasWork()) {
        ++idle;
        const bool isWoken = changed.wait_for(lock, limits.idle, hasWork);
        --idle;
        if (!isWoken && threads.size() > 1) {
            return false;
        }
    }
    return state == State::Open;
}

std::deque<DiskPool::Queue>::iterator DiskPool::nextQueue() {
    const bool isCrowded = running >= limits.threads / 2;
    return std::find_if(ready.begin(), ready.end(), [isCrowded](const Queue& queue) {
        return queue->running == 0 || !isCrowded;
    });
}

DiskPool::Piece DiskPool::take() {
    const auto place = nextQueue();
    Piece piece{.queue = *place, .work = {}};
    ready.erase(place);
    piece.queue->isReady = false;
    piece.work = std::move(piece.queue->waiting.front());
    piece.queue->waiting.pop_front();
    ++piece.queue->running;
    ++running;
    makeReady(piece.queue);
    if (nextQueue() != ready.end()) {
        haveItDone();
    }
    return piece;
}

void DiskPool::end(const Queue& queue) {
    --queue->running;
    --running;
    makeReady(queue);
    if (--pieces == 0) {
        allDone.notify_all();
    }
}

// Somebody else joins it.
void DiskPool::retire(Threads::iterator self) {
    ended.splice(ended.end(), threads, self);
}

}  // namespace tarn::peers::loop_storage
