#pragma once

#include <optional>
#include <string>

namespace tarn::peers {

/// How a process ended: by exiting, or by a signal. Neither when that could not be learnt.
struct ProcessEnd {
    std::optional<int> exitStatus;
    std::optional<int> signal;
};

/// "exited with status 3", "killed by signal 11 (Segmentation fault)".
std::string describe(const ProcessEnd& end);

}  // namespace tarn::peers
