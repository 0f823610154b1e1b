#include "peers/loop_storage/server/Clients.h"

#include <algorithm>
#include <tuple>
#include <utility>
#include <vector>

namespace tarn::peers::loop_storage {

namespace {

using Entry = std::map<std::uint64_t, Clients::Client>::iterator;

bool isTcp(const Entry& entry) {
    return entry->second.via == Clients::Via::Tcp;
}

bool goesBefore(const Entry& left, const Entry& right) {
    const auto rank = [](const Entry& entry) {
        const auto& presence = *entry->second.presence;
        return std::tuple(presence.standing(), presence.since());
    };
    return rank(left) < rank(right);
}

}  // namespace

bool Clients::add(std::uint64_t id, Client client, Descriptors descriptors) {
    auto locked = state.lock();
    if (locked->door == State::Door::Closed) {
        return false;
    }
    const bool isFull = locked->all.size() >= places;
    const bool isScarce = descriptors == Descriptors::Scarce;
    const auto gone = makeRoomIn(*locked,
                                 isScarce ? 2
                                 : isFull ? 1
                                          : 0,
                                 Presence::Standing::Asking);
    if (isFull && gone == 0) {
        return false;
    }
    locked->all.emplace(id, std::move(client));
    return true;
}

std::size_t Clients::makeRoom(std::size_t wanted, Presence::Standing upTo) {
    return makeRoomIn(*state.lock(), wanted, upTo);
}

std::size_t Clients::makeRoomIn(State& current, std::size_t wanted, Presence::Standing upTo) const {
    std::size_t gone = 0;
    while (gone < wanted && oneGoes(current, upTo)) {
        ++gone;
    }
    return gone;
}

// Who goes is out of the list at once, so that the next one who comes finds somebody else.
bool Clients::oneGoes(State& current, Presence::Standing upTo) const {
    auto& all = current.all;
    std::vector<Entry> spare;
    for (auto entry = all.begin(); entry != all.end(); ++entry) {
        if (entry->second.presence->standing() <= upTo) {
            spare.push_back(entry);
        }
    }
    const auto overTcp = std::count_if(
        all.begin(), all.end(), [](const auto& entry) { return entry.second.via == Via::Tcp; });
    const bool haveTcp = std::any_of(spare.begin(), spare.end(), isTcp);
    if (haveTcp && static_cast<std::size_t>(overTcp) > places / 2) {
        std::erase_if(spare, [](const Entry& entry) { return !isTcp(entry); });
    }
    if (spare.empty()) {
        return false;
    }
    const auto goes = *std::min_element(spare.begin(), spare.end(), goesBefore);
    goes->second.close();
    all.erase(goes);
    return true;
}

std::size_t Clients::endUnless(
    const std::function<bool(const access::ClientCertificate&)>& mayStay) {
    auto locked = state.lock();
    std::size_t ended = 0;
    for (const auto& [id, client] : locked->all) {
        if (client.certificate && !mayStay(*client.certificate)) {
            client.close();
            ++ended;
        }
    }
    return ended;
}

void Clients::closeAll() {
    auto locked = state.lock();
    locked->door = State::Door::Closed;
    for (const auto& [id, client] : locked->all) {
        client.close();
    }
}

}  // namespace tarn::peers::loop_storage
