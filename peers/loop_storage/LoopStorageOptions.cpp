#include "peers/loop_storage/LoopStorageOptions.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <utility>

#include "platform/program/CommandLine.h"
#include "platform/program/Options.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr program::SecondsRange timeOuts{.least = 0.1, .most = 3600};
constexpr std::size_t fewestClients = 8;
constexpr std::size_t mostClients = 100'000;
constexpr auto largestCapacity = std::uint64_t(1) << 60U;

std::optional<std::uint16_t> portFrom(const std::string& text) {
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, port);
    return result.ec == std::errc() && result.ptr == end ? std::optional(port) : std::nullopt;
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

void addServingOptions(CLI::App& app, LoopStorageOptions& options) {
    program::addSeconds(
        app, "--client-timeout", options.clientTimeOut, timeOuts,
        "How long a client may leave a message half sent or an answer untaken, and how long "
        "nothing may be heard of its machine over TCP, in seconds from 0.1 to 3600");
    program::addSeconds(
        app, "--idle-timeout", options.idleTimeOut, timeOuts,
        "How long a client that neither reads nor writes a track may ask for nothing, in seconds "
        "from 0.1 to 3600");
    app.add_flag("--require-keys", options.requireKeys,
                 "Uses TCP without a certificate within this machine only");
    app.add_option("--clients", options.clients, "So many clients may be connected at a time")
        ->check(CLI::Range(fewestClients, mostClients))
        ->capture_default_str();
}

// Each without the other would let nobody in, or everybody.
void addTlsOptions(CLI::App& app, LoopStorageOptions& options) {
    auto* const own = app.add_option(
        "--certificate", options.certificate,
        "TCP is encrypted, with the key and certificate in this file, which nobody else may read");
    auto* const clients =
        app.add_option("--client-certificates", options.clientCertificates,
                       "Who may connect over TCP, and what each may do: \"tarnctl certificates\" "
                       "changes the file, which is read again when it has changed");
    own->needs(clients);
    clients->needs(own);
}

}  // namespace

std::optional<LoopStorageOptions> parseLoopStorageOptions(program::CommandLine& line) {
    LoopStorageOptions options;
    std::string directory;
    std::string verify;
    std::string tcp;
    std::uint64_t capacity = 0;
    CLI::App app("Keeps tracks: rings on disk that one writes while others read");
    auto* const directoryOption =
        app.add_option("--directory", directory, "Where the tracks are; made if it is not there");
    auto* const tcpOption = app.add_option("--tcp", tcp, "Listens on ADDRESS:PORT")
                                ->check(checkAddress, "ADDRESS:PORT");
    auto* const unixOption =
        app.add_option("--unix", options.unixPath, "Listens on a Unix socket of this path");
    program::addSize(app, "--capacity", capacity, {.least = 1, .most = largestCapacity},
                     "All tracks together may take so many bytes; unless given, what the disk has");
    addServingOptions(app, options);
    addTlsOptions(app, options);
    auto* const verifyOption =
        app.add_option("--verify", verify,
                       "Compares every frame in this directory, or in this one track's folder, "
                       "with its checksum, says what is found, and ends: with 0 if all is well. No "
                       "server may use it meanwhile")
            ->excludes(directoryOption)
            ->excludes(tcpOption)
            ->excludes(unixOption);
    const bool good = line.parse(app, [&] {
        if (verifyOption->empty() && directoryOption->empty()) {
            throw CLI::RequiredError("--directory");
        }
        if (verifyOption->empty() && tcpOption->empty() && unixOption->empty()) {
            throw CLI::RequiredError("--tcp or --unix");
        }
        options.directory = directory;
        options.verify = verify;
        options.tcp = addressFrom(tcp);
        if (capacity > 0) {
            options.capacity = capacity;
        }
    });
    return good ? std::optional(std::move(options)) : std::nullopt;
}

}  // namespace tarn::peers::loop_storage
