#include "peers/loop_storage/Workers.h"

#include <algorithm>
#include <utility>

namespace tarn::peers::loop_storage {

namespace {

constexpr std::size_t longestName = 20;

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80U;
}

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

std::string workerName(const std::string& given) {
    auto length = std::min(given.size(), longestName);
    while (length > 0 && length < given.size() && continuesCharacter(given[length])) {
        --length;
    }
    auto name = given.substr(0, length);
    std::replace_if(name.begin(), name.end(), isControl, '?');
    return name;
}

}  // namespace tarn::peers::loop_storage
