#include "service/devices/RefusedDevices.h"

namespace tarn::service::devices {

namespace {

constexpr std::size_t mostLinesRemembered = 1000;

}  // namespace

RefusedDevices::Before RefusedDevices::add(const std::string& id) {
    return since.lock()->emplace(id, now()).second ? Before::Welcome : Before::Refused;
}

void RefusedDevices::remove(const std::string& id) {
    since.lock()->erase(id);
}

bool RefusedDevices::contains(const std::string& id) {
    return since.lock()->contains(id);
}

bool RefusedDevices::isDue(const std::string& id) {
    auto known = since.lock();
    const auto found = known->find(id);
    return found != known->end() && now() - found->second >= shownFor;
}

// Somebody who invents ids gets more lines, not more memory.
bool RefusedDevices::takeLine(const std::string& id) {
    auto said = lines.lock();
    const auto found = said->find(id);
    if (found != said->end() && now() - found->second < betweenLines) {
        return false;
    }
    if (said->size() >= mostLinesRemembered) {
        said->clear();
    }
    (*said)[id] = now();
    return true;
}

}  // namespace tarn::service::devices
