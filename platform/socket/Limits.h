#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace tarn::socket {

// How much one client may ask of a program, so that the others have theirs. What an operator may
// want otherwise is in Limits, which the service takes from its configuration; other programs have
// these numbers.

/// A request, in bytes: larger ones end the connection before they are in memory. The wire may add
/// some to it.
inline constexpr std::size_t largestRequestSize = std::size_t{10} << 20;

/// Messages of one peer that wait to be served, and answers that wait to be taken.
inline constexpr int requestQueueLength = 16;

/// Levels of messages within a request.
inline constexpr int deepestRequest = 64;

/// Who has not said who he is by then is not let in.
inline constexpr std::chrono::milliseconds handshakeWithin{5000};

/// Of each user but root and the one that the program runs as, or of each address beyond this
/// machine; those two, and this machine over TCP, have all the room that is left.
struct Limits {
    /// At once. Fewer where descriptors are short: see Visitors.
    std::uint32_t connectionsPerUser = 128;

    /// Of what a user has sent and nobody has looked at, and of answers that he has not taken. At
    /// least one request has room in any case.
    std::uint64_t waitingBytesPerUser = std::uint64_t{64} << 20;

    /// On average over some seconds; twice as many at once. Who asks more often loses the
    /// connection.
    std::uint32_t requestsPerSecond = 500;

    /// That a user sends, on average over some seconds; at once as many as may wait, and a
    /// second's, unless it is said. Small frames count sixteenfold, and whatever is read as a KiB,
    /// by what they cost. Who sends more loses the connection.
    std::uint64_t bytesPerSecond = std::uint64_t{16} << 20;
    std::optional<std::uint64_t> bytesAtOnce = {};

    /// Jobs and engines, on average over some seconds; twice as many at once.
    std::uint32_t submissionsPerSecond = 10;

    /// That run at the same time.
    std::uint32_t jobsPerUser = 200;
};

/// For this process, from now on. Any thread.
void setLimits(const Limits& limits);
Limits currentLimits();

}  // namespace tarn::socket
