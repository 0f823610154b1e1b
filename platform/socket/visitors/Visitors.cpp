#include "platform/socket/visitors/Visitors.h"

#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <utility>

namespace tarn::socket {

namespace {

constexpr std::chrono::seconds betweenLines{10};

// How often somebody came is forgotten no sooner.
constexpr std::chrono::seconds keptAtLeast{10};

// Whoever is turned away tries again at once; looking for who has left costs more than that.
constexpr std::chrono::milliseconds betweenSweeps{5};

// A client's signs of life are fewer.
constexpr std::uint64_t forgivenPerSecond = 1024;
constexpr std::uint64_t orphansForgivenPerMs = 1024;

// Of a byte that is sent alone, the reading costs more than it does.
constexpr std::uint64_t costOfRead = 1024;

// Who has this many connections, and loses them all, has them again in some seconds.
constexpr double comingPerSecond = 64;

// Sockets have numbers of their own, which come again after four thousand million others.
ino_t fileAt(int descriptor) {
    struct stat facts {};
    return ::fstat(descriptor, &facts) == 0 ? facts.st_ino : 0;
}

}  // namespace

Visitors::Visitors(RoomNow room, Warn warn, Now now)
    : room(std::move(room)), warn(std::move(warn)), now(std::move(now)) {}

bool Visitors::admit(int connection, const std::optional<Visitor>& visitor) {
    if (!visitor && counted == 0) {
        return true;
    }
    const std::lock_guard lock(mutex);
    if (const auto before = connections.find(connection); before != connections.end()) {
        close(before);
    }
    if (!visitor) {
        return true;
    }
    const auto most = room();
    if (!hasRoom(*visitor, most)) {
        refuse(*visitor, "turned away a connection of " + visitor->describe() + ": he may have " +
                             std::to_string(most.connections) + ", and all that are counted " +
                             std::to_string(most.allConnections));
        return false;
    }
    auto& account = accounts.try_emplace(*visitor).first->second;
    if (!account.coming.take(1, comingPerSecond, 2.0 * most.connections, now())) {
        refuse(*visitor,
               "turned away a connection of " + visitor->describe() + ": he comes too often");
        return false;
    }
    open(connection, *visitor);
    return true;
}

bool Visitors::Allowance::take(double amount, double perSecond, double atOnce,
                               Clock::time_point at) {
    const std::chrono::duration<double> passed = at - asOf;
    used = std::max(0.0, used - passed.count() * perSecond);
    asOf = at;
    if (used + amount > atOnce) {
        return false;
    }
    used += amount;
    return true;
}

bool Visitors::isCounted(int connection) {
    if (counted == 0) {
        return false;
    }
    const std::lock_guard lock(mutex);
    return connections.contains(connection);
}

std::optional<Visitor> Visitors::visitorBy(int connection) {
    if (counted == 0) {
        return std::nullopt;
    }
    const std::lock_guard lock(mutex);
    const auto found = connections.find(connection);
    return found == connections.end() ? std::nullopt : std::optional(found->second.account->first);
}

bool Visitors::mayAsk(int connection, std::size_t waiting) {
    if (counted == 0) {
        return true;
    }
    const std::lock_guard lock(mutex);
    const auto found = connections.find(connection);
    if (found == connections.end()) {
        return true;
    }
    if (found->second.isEnded) {
        return false;
    }
    const auto perSecond = room().askingPerSecond;
    if (!found->second.account->second.asking.take(1, perSecond, 2.0 * perSecond, now())) {
        shutDown(*found, "he may ask " + std::to_string(perSecond) + " times a second");
        return false;
    }
    if (waiting >= std::size_t{2} * perSecond) {
        shutDown(*found, std::to_string(waiting) + " requests of his wait already");
        return false;
    }
    return true;
}

void Visitors::end(int connection, const std::string& what) {
    const std::lock_guard lock(mutex);
    const auto found = connections.find(connection);
    if (found != connections.end() && !found->second.isEnded) {
        shutDown(*found, what);
    }
}

void Visitors::shutDown(Connections::value_type& connection, const std::string& what) {
    connection.second.isEnded = true;
    const auto& visitor = connection.second.account->first;
    refuse(visitor, "ended a connection of " + visitor.describe() + ": " + what);
    if (fileAt(connection.first) == connection.second.file) {
        ::shutdown(connection.first, SHUT_RDWR);  // the library closes it
    }
}

bool Visitors::hasRoom(const Visitor& visitor, const Room& most) {
    const auto isShort = [&] {
        const auto account = accounts.find(visitor);
        return connections.size() >= most.allConnections ||
               (account != accounts.end() && account->second.connections >= most.connections);
    };
    if (isShort()) {
        sweep();
    }
    return !isShort();
}

void Visitors::open(int connection, const Visitor& visitor) {
    const auto account = accounts.try_emplace(visitor).first;
    ++account->second.connections;
    connections.insert_or_assign(
        connection,
        Connection{
            .file = fileAt(connection), .account = account, .waiting = 0, .forgiven = now()});
    counted = connections.size();
}

// Its account stays: it may have to keep lines apart.
Visitors::Connections::iterator Visitors::close(Connections::iterator ended) {
    auto& account = ended->second.account->second;
    forgiveOrphans(account);
    account.orphaned += ended->second.waiting;
    --account.connections;
    const auto next = connections.erase(ended);
    counted = connections.size();
    return next;
}

void Visitors::sweep() {
    if (now() < nextSweep) {
        return;
    }
    nextSweep = now() + betweenSweeps;
    for (auto each = connections.begin(); each != connections.end();) {
        each = fileAt(each->first) == each->second.file ? std::next(each) : close(each);
    }
    for (auto& each : accounts) {
        forgiveOrphans(each.second);
    }
    std::erase_if(accounts, [this](const auto& each) {
        return each.second.connections == 0 && each.second.waiting == 0 &&
               now() >= each.second.nextLine && now() - each.second.coming.asOf > keptAtLeast;
    });
}

bool Visitors::charge(int connection, std::uint64_t bytes) {
    if (counted == 0) {
        return true;
    }
    const std::lock_guard lock(mutex);
    auto* const of = counting(connection, bytes);
    return of == nullptr || mayWait(*of, bytes);
}

bool Visitors::chargeRead(int connection, std::uint64_t bytes) {
    if (counted == 0) {
        return true;
    }
    const std::lock_guard lock(mutex);
    auto* const of = counting(connection, bytes);
    return of == nullptr ||
           (!of->isEnded && mayWait(*of, bytes) && maySend(connection, *of, bytes));
}

// Null for who is not counted. Whoever is refused something was looked at: a descriptor that was
// his may be another's by now.
Visitors::Connection* Visitors::counting(int connection, std::uint64_t bytes) {
    const auto found = connections.find(connection);
    if (found == connections.end()) {
        return nullptr;
    }
    forgive(found->second);
    auto& account = found->second.account->second;
    forgiveOrphans(account);
    const bool isFull = account.waiting + bytes > room().waitingBytes;
    if ((isFull || found->second.isEnded) && isGone(found)) {
        return nullptr;
    }
    if (isFull) {
        sweep();
    }
    return &found->second;
}

// Looking costs a call of the kernel.
bool Visitors::isGone(Connections::iterator connection) {
    if (fileAt(connection->first) == connection->second.file) {
        return false;
    }
    close(connection);
    return true;
}

bool Visitors::mayWait(Connection& of, std::uint64_t bytes) {
    auto& [visitor, account] = *of.account;
    if (account.waiting + bytes > room().waitingBytes) {
        refuse(visitor, "no more is taken from or kept for " + visitor.describe() + ": " +
                            std::to_string(account.waiting) + " bytes of his wait already");
        return false;
    }
    account.waiting += bytes;
    of.waiting += bytes;
    return true;
}

// What was read is charged already, and goes with the connection. A machine beyond the network may
// send us what it says of itself, as much as that is.
bool Visitors::maySend(int connection, const Connection& of, std::uint64_t bytes) {
    const auto most = room();
    auto& [visitor, account] = *of.account;
    if (visitor.kind != Visitor::Kind::User ||
        account.sending.take(static_cast<double>(std::max(bytes, costOfRead)),
                             static_cast<double>(most.bytesPerSecond),
                             static_cast<double>(most.bytesAtOnce), now()) ||
        isGone(connections.find(connection))) {
        return true;
    }
    refuse(visitor, "ended a connection of " + visitor.describe() + ": he may send " +
                        std::to_string(most.bytesPerSecond) + " bytes a second");
    return false;
}

void Visitors::credit(int connection, std::uint64_t bytes) {
    if (counted == 0) {
        return;
    }
    const std::lock_guard lock(mutex);
    if (const auto found = connections.find(connection); found != connections.end()) {
        take(found->second, bytes);
    }
}

// What is more than this connection's came by one before it.
void Visitors::take(Connection& of, std::uint64_t bytes) {
    auto& account = of.account->second;
    const auto own = std::min(bytes, of.waiting);
    const auto orphaned = std::min(bytes - own, account.orphaned);
    of.waiting -= own;
    account.orphaned -= orphaned;
    account.waiting -= own + orphaned;
}

void Visitors::forgiveOrphans(Account& of) {
    const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(now() - of.forgiven);
    of.forgiven += passed;
    const auto forgiven = std::min<std::uint64_t>(
        static_cast<std::uint64_t>(passed.count()) * orphansForgivenPerMs, of.orphaned);
    of.orphaned -= forgiven;
    of.waiting -= forgiven;
}

void Visitors::forgive(Connection& of) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now() - of.forgiven);
    if (seconds.count() > 0) {
        take(of, static_cast<std::uint64_t>(seconds.count()) * forgivenPerSecond);
        of.forgiven += seconds;
    }
}

void Visitors::refuse(const Visitor& visitor, const std::string& what) {
    auto& account = accounts.try_emplace(visitor).first->second;
    ++account.refused;
    if (now() >= account.nextLine) {
        const auto times = std::exchange(account.refused, 0);
        account.nextLine = now() + betweenLines;
        warn(times == 1 ? what : what + " (" + std::to_string(times) + " times)");
    }
}

std::size_t Visitors::connectionsOf(const Visitor& visitor) {
    const std::lock_guard lock(mutex);
    sweep();
    const auto account = accounts.find(visitor);
    return account == accounts.end() ? 0 : account->second.connections;
}

}  // namespace tarn::socket
