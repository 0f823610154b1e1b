#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace tarn::program {
class CommandLine;
}

namespace tarn::peers::loop_storage {

struct TcpAddress {
    std::string host;
    std::uint16_t port = 0;
};

struct LoopStorageOptions {
    std::filesystem::path directory;
    std::filesystem::path verify;  ///< empty: serves; otherwise only looks at what is there
    std::optional<TcpAddress> tcp;
    bool requireKeys = false;               ///< without a certificate TCP is for this machine alone
    std::string certificate;                ///< with its key, for TCP; empty: none
    std::string clientCertificates;         ///< the file of who may connect over TCP; empty: none
    std::string unixPath;                   ///< empty: none
    std::optional<std::uint64_t> capacity;  ///< bytes; without it the disk alone limits
    std::chrono::milliseconds clientTimeOut{10'000};
    std::chrono::milliseconds idleTimeOut{60'000};
    std::size_t clients = 1000;
};

/// Nothing when the program is to end at once.
std::optional<LoopStorageOptions> parseLoopStorageOptions(program::CommandLine& line);

}  // namespace tarn::peers::loop_storage
