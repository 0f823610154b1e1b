#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "platform/socket/Visitor.h"

namespace tarn::socket {

/// How many connections each visitor has to this process, and how much of each waits in it: what he
/// has sent and nobody has looked at, and answers that he has not taken.
///
/// A connection begins with `admit`. Nothing tells of its end, which is found out when it matters:
/// its descriptor is closed, or another file's. Bytes are charged when they come in and credited
/// when somebody has looked at the message; what belongs to no message (commands of the protocol)
/// is never credited, but forgiven with time. What a connection brought waits though it has ended:
/// that is forgiven a good deal faster, since it may have been half a message, which is gone.
///
/// Any thread. Costs next to nothing while nobody is counted.
class Visitors {
  public:
    using Clock = std::chrono::steady_clock;

    /// What a visitor may have at the moment.
    struct Room {
        std::uint32_t connections = 0;      ///< each
        std::uint32_t allConnections = 0;   ///< all visitors together
        std::uint64_t waitingBytes = 0;     ///< each
        std::uint32_t askingPerSecond = 0;  ///< each; twice as often at once
        std::uint64_t bytesPerSecond = 0;   ///< each user; that he sends
        std::uint64_t bytesAtOnce = 0;
    };
    using RoomNow = std::function<Room()>;
    using Now = std::function<Clock::time_point()>;
    /// A warning, at most one in ten seconds for each visitor, and how often it was so.
    using Warn = std::function<void(const std::string& text)>;

    Visitors(RoomNow room, Warn warn, Now now = Clock::now);

    /// A connection was accepted: whether it may stay. Else the caller closes it. Takes the place
    /// of whatever had this descriptor before; somebody who is not counted is nothing.
    bool admit(int connection, const std::optional<Visitor>& visitor);

    /// Whether it is somebody's who is counted.
    bool isCounted(int connection);

    /// Whose connection it is; nothing for who is not counted.
    std::optional<Visitor> visitorBy(int connection);

    /// A request has come by a connection, while so many of his wait to be served: whether it is to
    /// be. Else he asks too often, and the connection is shut down. Coming again costs him as well:
    /// `admit` lets one who is let in too often wait.
    bool mayAsk(int connection, std::size_t waiting = 0);

    /// He wants too much by a connection, as said in `what`: it is shut down.
    void end(int connection, const std::string& what);

    /// An answer of so many bytes is about to wait: false when that is more than he may have
    /// waiting. Then nothing is charged.
    bool charge(int connection, std::uint64_t bytes);

    /// So many came in: the same, and false also when he is a user and sends more than he may.
    bool chargeRead(int connection, std::uint64_t bytes);

    /// So many were looked at, or taken by him.
    void credit(int connection, std::uint64_t bytes);

    /// Whether anybody is.
    bool areCounted() const { return counted != 0; }

    /// Whose connection is counted here, as far as is known now.
    std::size_t connectionsOf(const Visitor& visitor);

  private:
    /// What he may do so many times a second, and what of that is left.
    struct Allowance {
        double used = 0;
        Clock::time_point asOf = {};
        bool take(double amount, double perSecond, double atOnce, Clock::time_point now);
    };
    struct Account {
        std::uint32_t connections = 0;
        std::uint64_t waiting = 0;   ///< of all his connections, and
        std::uint64_t orphaned = 0;  ///< of those that have ended
        Clock::time_point forgiven = {};
        Allowance coming = {};
        Allowance asking = {};
        Allowance sending = {};
        std::uint64_t refused = 0;  ///< since the last line
        Clock::time_point nextLine = {};
    };
    using Accounts = std::map<Visitor, Account>;
    struct Connection {
        ino_t file = 0;
        Accounts::iterator account;
        std::uint64_t waiting = 0;
        Clock::time_point forgiven = {};
        bool isEnded = false;  ///< by us; what it has sent is still to come
    };
    using Connections = std::unordered_map<int, Connection>;

    // With the lock.
    bool hasRoom(const Visitor& visitor, const Room& room);
    void open(int connection, const Visitor& visitor);
    Connections::iterator close(Connections::iterator ended);
    void sweep();
    void take(Connection& of, std::uint64_t bytes);
    void forgive(Connection& of);
    void forgiveOrphans(Account& of);
    void refuse(const Visitor& visitor, const std::string& what);
    void shutDown(Connections::value_type& connection, const std::string& what);
    Connection* counting(int connection, std::uint64_t bytes);
    bool isGone(Connections::iterator connection);
    bool mayWait(Connection& of, std::uint64_t bytes);
    bool maySend(int connection, const Connection& of, std::uint64_t bytes);

    const RoomNow room;
    const Warn warn;
    const Now now;
    std::atomic<std::size_t> counted = 0;  // connections; so that who has no visitors has no lock

    std::mutex mutex;  // guards what follows
    Accounts accounts;
    Connections connections;
    Clock::time_point nextSweep = {};
};

}  // namespace tarn::socket
