#pragma once

#include <chrono>
#include <vector>

namespace tarn::peers {

/// Waits until one of the descriptors has input, or until `deadline`. Negative ones are left out.
void waitForInput(const std::vector<int>& descriptors,
                  std::chrono::steady_clock::time_point deadline);

}  // namespace tarn::peers
