#include "tests/system/Eventually.h"

#include <poll.h>

namespace tarn::test {

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds bound) {
    constexpr int askAgainAfterMs = 5;
    const auto end = std::chrono::steady_clock::now() + bound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        ::poll(nullptr, 0, askAgainAfterMs);
    }
    return true;
}

}  // namespace tarn::test
