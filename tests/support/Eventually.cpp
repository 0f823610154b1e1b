#include "tests/support/Eventually.h"

#include <poll.h>

#include "platform/os/Deadline.h"
#include "tests/support/MachineTime.h"

namespace tarn::test {

namespace {

template <typename IsOver>
bool askUntil(IsOver isOver, const std::function<bool()>& condition) {
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
    const os::Deadline deadline(bound);
    return askUntil([&] { return deadline.hasPassed(); }, condition);
}

bool eventuallyWithin(std::chrono::milliseconds bound, const std::function<bool()>& condition) {
    const MachineTime time;
    return askUntil([&] { return time.elapsed() >= bound; }, condition);
}

}  // namespace tarn::test
