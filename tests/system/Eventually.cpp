#include "tests/system/Eventually.h"

#include <poll.h>

#include "tests/support/MachineTime.h"

namespace tarn::test {

namespace {

bool askUntil(const std::function<bool()>& isOver, const std::function<bool()>& condition) {
    constexpr int askAgainAfterMs = 5;
    while (!condition()) {
        if (isOver()) {
            return false;
        }
        ::poll(nullptr, 0, askAgainAfterMs);
    }
    return true;
}

}  // namespace

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds bound) {
    const auto end = std::chrono::steady_clock::now() + bound;
    return askUntil([&] { return std::chrono::steady_clock::now() >= end; }, condition);
}

bool eventuallyWithin(std::chrono::milliseconds bound, const std::function<bool()>& condition) {
    const MachineTime time;
    return askUntil([&] { return time.elapsed() >= bound; }, condition);
}

}  // namespace tarn::test
