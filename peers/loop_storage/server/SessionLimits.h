#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>

namespace tarn::peers::loop_storage {

/// What one client may cost, and all of them.
struct SessionLimits {
    /// How long a client may take to greet; to send on, when it owes the rest of a message; and to
    /// receive on, when something waits for it. Over TCP also how long nothing may be heard of its
    /// machine.
    std::chrono::milliseconds patience{10'000};
    /// How long one that is attached to no track may take from one question to the next.
    std::chrono::milliseconds idle{60'000};
    std::size_t clients = 1000;

    /// So many of them may be attached to tracks: the others' places are for questions.
    std::size_t workers() const { return clients - std::min<std::size_t>(32, clients / 4); }
};

}  // namespace tarn::peers::loop_storage
