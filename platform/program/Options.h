#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tarn::socket {
class SocketEndpoint;
}

namespace tarn::program {

// Options whose text means the same to every program. Each adds one to `app`; `value` outlives the
// parsing and holds the default, which help shows. What is no such value is a usage error, which
// says what is expected.

/// An endpoint that other processes can reach.
CLI::Option* addEndpoint(CLI::App& app, const std::string& name, socket::SocketEndpoint& value,
                         const std::string& description);

/// The same for one that need not be given.
CLI::Option* addEndpoint(CLI::App& app, const std::string& name,
                         std::optional<socket::SocketEndpoint>& value,
                         const std::string& description);

/// In seconds, both ends included.
struct SecondsRange {
    double least;
    double most;
};

/// A time in seconds, with or without a fraction; kept in whole milliseconds.
CLI::Option* addSeconds(CLI::App& app, const std::string& name, std::chrono::milliseconds& value,
                        SecondsRange range, const std::string& description);

/// In bytes, both ends included.
struct SizeRange {
    std::uint64_t least = 0;
    std::uint64_t most = std::numeric_limits<std::int64_t>::max();
};

/// A size in bytes, as parseByteSize reads it. The units are told behind the description.
CLI::Option* addSize(CLI::App& app, const std::string& name, std::uint64_t& value, SizeRange range,
                     const std::string& description);

}  // namespace tarn::program
