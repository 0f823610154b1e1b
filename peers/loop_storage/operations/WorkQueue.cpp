#include "peers/loop_storage/operations/WorkQueue.h"

#include <exception>
#include <string>
#include <utility>

#include "platform/utils/Log.h"

namespace tarn::peers::loop_storage {

WorkQueue::WorkQueue(std::size_t longest) : longest(longest), thread([this] { run(); }) {}

WorkQueue::~WorkQueue() {
    {
        const std::lock_guard lock(mutex);
        state = State::Ending;
    }
    changed.notify_all();
    thread.join();
}

bool WorkQueue::add(Work work) {
    {
        const std::lock_guard lock(mutex);
        if (state == State::Ending || waiting.size() >= longest) {
            return false;
        }
        waiting.push_back(std::move(work));
    }
    changed.notify_all();
    return true;
}

void WorkQueue::finish() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return waiting.empty() && running == 0; });
}

void WorkQueue::run() {
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return state == State::Ending || !waiting.empty(); });
        if (state == State::Ending) {
            return;
        }
        auto work = std::move(waiting.front());
        waiting.pop_front();
        running = 1;
        lock.unlock();
        try {
            work();
        } catch (const std::exception& failure) {
            utils::logError(std::string("A piece of work has failed: ") + failure.what());
        }
        work = nullptr;  // with it goes what it holds, the end of which may add work
        lock.lock();
        running = 0;
        changed.notify_all();
    }
}

}  // namespace tarn::peers::loop_storage
