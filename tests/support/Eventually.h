#pragma once

#include <chrono>
#include <functional>

namespace tarn::test {

/// Asks `condition` again and again, every few milliseconds, until it holds; false when `bound`
/// passed first. For what nothing tells of: a process that goes, a file that appears.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds bound = std::chrono::seconds(15));

/// The same with a bound that is a promise, in MachineTime.
bool eventuallyWithin(std::chrono::milliseconds bound, const std::function<bool()>& condition);

}  // namespace tarn::test
