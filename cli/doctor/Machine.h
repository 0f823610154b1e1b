#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "service/configuration/ConfigurationSettings.h"

namespace tarn::cli {

/// How a program ended, and what it wrote, cut at 1 MiB.
struct ProgramEnd {
    int exitStatus;  ///< -1: by a signal
    std::string output;
};

struct Space {
    std::uint64_t available = 0;  ///< bytes, to ordinary users
    std::uint64_t total = 0;
    std::uint64_t freeFiles = 0;  ///< how many more there can be
    std::uint64_t allFiles = 0;   ///< 0: not bounded
};

/// What the checks look at. Values and functions that tests turn; `thisMachine` has the real ones.
struct Machine {
    std::filesystem::path root = "/";  ///< every path is looked up below it
    std::string configurationFile = "/etc/TarnConfiguration.xml";
    service::configuration::ConfigurationSettings settings;
    bool asRoot = false;

    /// Runs a program without a shell, a few seconds at most; nothing when it cannot be run.
    std::function<std::optional<ProgramEnd>(const std::vector<std::string>& arguments)> run;
    std::function<std::optional<Space>(const std::filesystem::path& folder)> space;
    std::function<std::chrono::system_clock::time_point()> now;
    std::function<std::optional<bool>()> clockIsSynchronised;  ///< nothing: the kernel does not say
    std::function<int()> landlockVersion;                      ///< 0: there is none

    /// Where a path of the machine really is.
    std::filesystem::path at(const std::filesystem::path& path) const {
        return root / path.relative_path();
    }
};

/// With the settings of that file; those that are built in, where it cannot be read.
Machine thisMachine(const std::string& configurationFile);

}  // namespace tarn::cli
