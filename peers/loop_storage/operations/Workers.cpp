#include "peers/loop_storage/operations/Workers.h"

#include <algorithm>
#include <utility>

#include "platform/utils/Log.h"
#include "platform/utils/Utf8.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::size_t longestName = 20;

bool isControl(char byte) {
    return static_cast<unsigned char>(byte) < 0x20U || byte == 0x7f;
}

}  // namespace

std::int64_t Workers::add(Worker worker) {
    auto locked = state.lock();
    locked->workers.emplace(++locked->last, std::move(worker));
    return locked->last;
}

void Workers::remove(std::int64_t id) {
    state.lock()->workers.erase(id);
}

std::map<std::int64_t, Worker> Workers::all() {
    return state.lock()->workers;
}

std::size_t Workers::count() {
    return state.lock()->workers.size();
}

bool Workers::evict(std::int64_t id) {
    Worker worker;
    {
        auto locked = state.lock();
        const auto found = locked->workers.find(id);
        if (found == locked->workers.end()) {
            return false;
        }
        worker = found->second;
    }
    utils::logWarning("Worker " + std::to_string(id) + ", " + worker.client.name + " at " +
                      worker.client.address + ", is evicted from track " +
                      std::to_string(worker.track));
    worker.client.evict();
    return true;
}

std::string workerName(const std::string& given) {
    std::string name(utils::utf8Prefix(given, longestName));
    std::replace_if(name.begin(), name.end(), isControl, '?');
    return name;
}

}  // namespace tarn::peers::loop_storage
