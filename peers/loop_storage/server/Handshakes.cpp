#include "peers/loop_storage/server/Handshakes.h"

#include <algorithm>
#include <map>
#include <utility>

#include "platform/tls/Context.h"

namespace tarn::peers::loop_storage {

Handshakes::Handshakes(boost::asio::io_context& thread, const tls::CertifiedKey& own,
                       tls::PeerCheck::Admits admits, Known known, const Limits& limits)
    : thread(thread),
      tls(boost::asio::ssl::context::tls_server),
      admits(std::move(admits)),
      known(std::move(known)),
      limits(limits) {
    tls::setUp(tls.native_handle(), own);
}

Handshakes::~Handshakes() = default;

void Handshakes::begin(ClientStream::Socket socket) {
    if (door == Door::Closed) {
        return;
    }
    if (underWay.size() >= limits.atOnce) {
        makeRoom();
    }
    const auto one = std::make_shared<Handshake>(std::move(socket), tls, admits, thread);
    underWay.push_back(one);
    one->start(
        limits.longest,
        [this, peer = one->peer()](const std::string& reason) {
            refusals.log("A client at " + peer + " is refused: " + reason);
        },
        [this](Handshake& self) { ended(self); });
}

void Handshakes::makeRoom() {
    std::map<std::string, std::size_t> ofNetwork;
    for (const auto& one : underWay) {
        ++ofNetwork[one->network()];
    }
    const auto most =
        std::ranges::max_element(ofNetwork, {}, [](const auto& one) { return one.second; });
    const auto first = std::ranges::find_if(
        underWay, [&](const auto& one) { return one->network() == most->first; });
    const auto goes = *first;
    refusals.log("A client at " + goes->peer() + " is refused: it has not shown who it is, and " +
                 std::to_string(limits.atOnce) + " others do");
    goes->close();
}

void Handshakes::ended(Handshake& one) {
    const auto place =
        std::ranges::find_if(underWay, [&](const auto& each) { return each.get() == &one; });
    const auto kept = *place;
    underWay.erase(place);
    if (one.current() == Handshake::State::Done) {
        known(one.takeStream(), one.fingerprint());
    }
}

void Handshakes::stop() {
    door = Door::Closed;
    while (!underWay.empty()) {
        const auto first = underWay.front();
        first->close();
    }
}

}  // namespace tarn::peers::loop_storage
