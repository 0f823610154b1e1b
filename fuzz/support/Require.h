#pragma once

#include <cstdlib>

namespace tarn::fuzz {

/// Ends the run with a finding unless what must hold does hold.
inline void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

}  // namespace tarn::fuzz
