#pragma once

#include <chrono>
#include <vector>

namespace tarn::peers {

/// Waits until one of the descriptors has input, and `longest` at most. Negative ones are left out.
void waitForInput(const std::vector<int>& descriptors, std::chrono::steady_clock::duration longest);

}  // namespace tarn::peers
