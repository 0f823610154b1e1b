#include "tests/service/fake_storage/FakeNetwork.h"

#include <map>

#include "platform/utils/Synchronised.h"

namespace tarn::test {

namespace {

utils::Synchronised<std::map<std::string, FakeStorage*>>& places() {
    static utils::Synchronised<std::map<std::string, FakeStorage*>> all;
    return all;
}

}  // namespace

std::string FakeNetwork::place(const std::string& address, std::uint16_t port) {
    return port == 0 ? "unix " + address : "tcp " + address + ":" + std::to_string(port);
}

void FakeNetwork::enter(const std::string& place, FakeStorage& storage) {
    places().lock()->emplace(place, &storage);
}

void FakeNetwork::leave(const std::string& place) {
    places().lock()->erase(place);
}

FakeStorage* FakeNetwork::find(const std::string& place) {
    auto all = places().lock();
    const auto found = all->find(place);
    return found == all->end() ? nullptr : found->second;
}

}  // namespace tarn::test
