#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace tarn::program {
class CommandLine;
}

namespace tarn::peers {

/// What a launcher was started with.
struct LauncherOptions {
    std::string label;      ///< names the log; empty: chosen when the setup is known
    std::string endpoint;   ///< private endpoint on which the setup arrives
    std::string logFolder;  ///< empty: the machine's own, see jobLogFolders
    bool daemon = false;    ///< run detached
    std::chrono::milliseconds setupTimeout{10'000};
};

/// Nothing when the program is to end at once. `purpose` is what its help says.
std::optional<LauncherOptions> parseLauncherOptions(program::CommandLine& line,
                                                    const std::string& purpose);

}  // namespace tarn::peers
