// With it, the C library's header has a body for one of the functions that are defined here.
#undef _FORTIFY_SOURCE

#include "platform/socket/visitors/ProcessVisitors.h"

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "platform/socket/DescriptorReserve.h"
#include "platform/socket/Limits.h"
#include "platform/utils/Log.h"
#include "platform/utils/Synchronised.h"

namespace tarn::socket {

namespace {

// The library reads so much at a time, and frames out of that; larger ones it reads by themselves.
constexpr std::size_t batch = 8192;

// Of a visitor's small frames it gets fewer: what it has read it hands out, also when the
// connection has been ended meanwhile.
constexpr std::size_t visitorsBatch = 1024;

std::size_t readAtOnce(int connection, std::size_t asked) {
    const bool isLess = asked > visitorsBatch && asked <= batch &&
                        tarn::socket::processVisitors().isCounted(connection);
    return isLess ? visitorsBatch : asked;
}

// It holds a hundred bytes for a frame, which takes two on the wire.
constexpr std::uint64_t costOfSmall = 16;
constexpr std::uint64_t frameHeader = 9;

tarn::utils::Synchronised<Limits>& limits() {
    static auto& instance = *new tarn::utils::Synchronised<Limits>();
    return instance;
}

// Half of all descriptors is for root, the own user and this machine's own connections over TCP.
Visitors::Room roomNow() {
    const auto wanted = currentLimits();
    const auto descriptors = DescriptorReserve::ForClients();
    const auto waiting =
        std::max<std::uint64_t>(wanted.waitingBytesPerUser, 2 * largestRequestSize);
    const auto each = std::clamp<std::uint64_t>(descriptors / 4, 1, wanted.connectionsPerUser);
    return {.connections = static_cast<std::uint32_t>(each),
            .allConnections = static_cast<std::uint32_t>(
                std::clamp<std::uint64_t>(descriptors / 2, 1, UINT32_MAX)),
            .waitingBytes = waiting,
            .askingPerSecond = wanted.requestsPerSecond,
            .bytesPerSecond = wanted.bytesPerSecond,
            .bytesAtOnce = wanted.bytesAtOnce.value_or(waiting + wanted.bytesPerSecond)};
}

void warn(const std::string& text) {
    tarn::utils::logWarning("Sockets > " + text);
}

std::uint64_t weightOfRead(std::size_t read, std::size_t asked) {
    return asked <= batch ? read * costOfSmall : read;
}

}  // namespace

void setLimits(const Limits& wanted) {
    *limits().lock() = wanted;
}

Limits currentLimits() {
    return *limits().lock();
}

Visitors& processVisitors() {
    static auto& instance = *new Visitors(roomNow, warn);
    return instance;
}

std::uint64_t weightOfFrame(std::size_t size) {
    return size < batch ? (size + frameHeader) * costOfSmall : size + batch * costOfSmall;
}

}  // namespace tarn::socket

// In the place of the C library's functions, which the messaging library would call.
extern "C" ssize_t recv(int connection, void* buffer, size_t size, int flags) {
    const auto most = tarn::socket::readAtOnce(connection, size);
    const auto read = ::syscall(SYS_recvfrom, connection, buffer, most, flags, nullptr, nullptr);
    if (read > 0 && (flags & MSG_PEEK) == 0 &&
        !tarn::socket::processVisitors().chargeRead(
            connection, tarn::socket::weightOfRead(static_cast<std::size_t>(read), size))) {
        return 0;
    }
    return read;
}

extern "C" ssize_t send(int connection, const void* bytes, size_t size, int flags) {
    const auto sent = ::syscall(SYS_sendto, connection, bytes, size, flags, nullptr, 0);
    if (sent > 0) {
        tarn::socket::processVisitors().credit(connection, static_cast<std::uint64_t>(sent));
    }
    return sent;
}
