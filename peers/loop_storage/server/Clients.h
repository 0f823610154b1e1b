#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "peers/loop_storage/server/Presence.h"
#include "platform/access/ClientCertificates.h"
#include "platform/utils/Synchronised.h"

namespace tarn::peers::loop_storage {

/// Who is connected. Any thread.
///
/// There are only so many places, and each costs a descriptor. Whoever comes when all are taken
/// gets the place of the client that has not attached to a track and has asked for nothing for the
/// longest time. Over TCP anybody may come, so those give way first as long as they have more than
/// half of the places: those on this machine, the media server itself above all, are not kept out
/// by them.
class Clients {
  public:
    enum class Via { Unix, Tcp };
    /// Whether the process has descriptors to spare.
    enum class Descriptors { Enough, Scarce };

    struct Client {
        Via via = Via::Unix;
        std::shared_ptr<const Presence> presence;
        /// Asks it to go. Called with the list locked: it must not come back here.
        std::function<void()> close;
        /// By which it was let in.
        std::optional<access::ClientCertificate> certificate = {};
    };

    explicit Clients(std::size_t places) : places(places) {}

    std::uint64_t nextId() { return ++state.lock()->last; }

    /// False when it cannot be let in: everybody works, or the end has come. Without descriptors
    /// to spare two others go, since what they give back is there a little later; and it is let in
    /// whether there are two or not: the last descriptors are kept for that.
    bool add(std::uint64_t id, Client client, Descriptors descriptors);
    void remove(std::uint64_t id) { state.lock()->all.erase(id); }
    /// Asks so many to go, or as many as there are of those who may: the idle ones first, then, if
    /// `upTo` says so, those who wait for an answer. How many.
    std::size_t makeRoom(std::size_t wanted, Presence::Standing upTo);
    /// Asks those to go whose certificate does not let them stay. How many.
    std::size_t endUnless(const std::function<bool(const access::ClientCertificate&)>& mayStay);
    /// Asks all to go, and lets nobody in any more.
    void closeAll();

  private:
    struct State {
        std::uint64_t last = 0;
        std::map<std::uint64_t, Client> all;
        enum class Door { Open, Closed } door = Door::Open;
    };
    bool oneGoes(State& current, Presence::Standing upTo) const;
    std::size_t makeRoomIn(State& current, std::size_t wanted, Presence::Standing upTo) const;

    const std::size_t places;
    utils::Synchronised<State> state;
};

}  // namespace tarn::peers::loop_storage
