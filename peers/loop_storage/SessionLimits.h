#pragma once

#include <chrono>
#include <cstddef>

namespace tarn::peers::loop_storage {

/// What one client may cost.
struct SessionLimits {
    /// How long a client may take to send on, when it owes the rest of a message, and to receive
    /// on, when something waits for it. Between messages it may take as long as it likes.
    std::chrono::milliseconds patience{10'000};
    std::size_t sessions = 1000;
};

}  // namespace tarn::peers::loop_storage
