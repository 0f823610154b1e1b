#include "peers/loop_storage/LoopStorageOptions.h"

#include <CLI/CLI.hpp>
#include <charconv>

namespace tarn::peers::loop_storage {

namespace {

constexpr int usageError = 2;
constexpr double shortestTimeOut = 0.1;
constexpr double longestTimeOut = 3600;
constexpr std::size_t fewestClients = 8;
constexpr std::size_t mostClients = 100'000;
constexpr auto largestCapacity = std::uint64_t(1) << 60U;

std::optional<std::uint16_t> portFrom(const std::string& text) {
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, port);
    return result.ec == std::errc() && result.ptr == end ? std::optional(port) : std::nullopt;
}

std::chrono::milliseconds millisecondsFrom(double seconds) {
    return std::chrono::milliseconds(static_cast<long>(seconds * 1000));
}

// "127.0.0.1:7000" or "[::1]:7000".
std::optional<TcpAddress> addressFrom(const std::string& text) {
    const auto colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) {
        return std::nullopt;
    }
    auto host = text.substr(0, colon);
    if (host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    } else if (host.find(':') != std::string::npos) {
        return std::nullopt;
    }
    const auto port = portFrom(text.substr(colon + 1));
    return port && !host.empty() ? std::optional(TcpAddress{host, *port}) : std::nullopt;
}

std::string checkAddress(const std::string& text) {
    return addressFrom(text) ? "" : "'" + text + "' is not ADDRESS:PORT";
}

// The library's own check of a range lets "nan" pass.
std::string checkTimeOut(const std::string& text) {
    double seconds = 0;
    const bool isNumber = CLI::detail::lexical_cast(text, seconds);
    const bool fits = isNumber && seconds >= shortestTimeOut && seconds <= longestTimeOut;
    return fits ? "" : "'" + text + "' is not between 0.1 and 3600 seconds";
}

}  // namespace

std::optional<LoopStorageOptions> parseLoopStorageOptions(int argc, const char* const* argv,
                                                          int& exitStatus) {
    LoopStorageOptions options;
    std::string directory;
    std::string verify;
    std::string tcp;
    std::uint64_t capacity = 0;
    double seconds = 10;
    double idleSeconds = 60;
    CLI::App app("Keeps tracks: rings on disk that one writes while others read");
    auto* const directoryOption =
        app.add_option("--directory", directory, "Where the tracks are; made if it is not there");
    auto* const tcpOption = app.add_option("--tcp", tcp, "Listens on ADDRESS:PORT")
                                ->check(checkAddress, "ADDRESS:PORT");
    auto* const unixOption =
        app.add_option("--unix", options.unixPath, "Listens on a Unix socket of this path");
    auto* const capacityOption =
        app.add_option(
               "--capacity", capacity,
               "Bytes that all tracks may take together, also as 500M, 20GiB or 2T; without "
               "it the disk alone limits them")
            ->transform(CLI::AsSizeValue(/*kb_is_1000=*/false))
            ->check(CLI::Range(std::uint64_t(1), largestCapacity));
    app.add_option(
           "--client-timeout", seconds,
           "How long a client may leave a message half sent or an answer untaken, and how long "
           "nothing may be heard of its machine over TCP, in seconds")
        ->check(checkTimeOut, "FLOAT in [0.1 - 3600]")
        ->capture_default_str();
    app.add_option("--idle-timeout", idleSeconds,
                   "How long a client that neither reads nor writes a track may ask for nothing, "
                   "in seconds")
        ->check(checkTimeOut, "FLOAT in [0.1 - 3600]")
        ->capture_default_str();
    app.add_option("--clients", options.clients, "So many clients may be connected at a time")
        ->check(CLI::Range(fewestClients, mostClients))
        ->capture_default_str();
    auto* const verifyOption =
        app.add_option(
               "--verify", verify,
               "Compares every frame in this directory, or in this one track's folder, with "
               "its checksum, says what is found, and ends: with 0 if all is well. No server "
               "may use it meanwhile")
            ->excludes(directoryOption)
            ->excludes(tcpOption)
            ->excludes(unixOption);
    try {
        app.parse(argc, argv);
        if (verifyOption->empty() && directoryOption->empty()) {
            throw CLI::RequiredError("--directory");
        }
        if (verifyOption->empty() && tcpOption->empty() && unixOption->empty()) {
            throw CLI::RequiredError("--tcp or --unix");
        }
    } catch (const CLI::ParseError& end) {
        exitStatus = app.exit(end) == 0 ? 0 : usageError;
        return std::nullopt;
    }
    options.directory = directory;
    options.verify = verify;
    options.tcp = addressFrom(tcp);
    if (!capacityOption->empty()) {
        options.capacity = capacity;
    }
    options.clientTimeOut = millisecondsFrom(seconds);
    options.idleTimeOut = millisecondsFrom(idleSeconds);
    return options;
}

}  // namespace tarn::peers::loop_storage
