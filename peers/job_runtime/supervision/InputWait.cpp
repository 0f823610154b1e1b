#include "peers/job_runtime/supervision/InputWait.h"

#include <poll.h>

#include <algorithm>

namespace tarn::peers {

void waitForInput(const std::vector<int>& descriptors,
                  std::chrono::steady_clock::duration longest) {
    std::vector<pollfd> inputs;
    for (const int descriptor : descriptors) {
        inputs.push_back({.fd = descriptor, .events = POLLIN, .revents = 0});
    }
    const auto left = std::max(std::chrono::steady_clock::duration::zero(), longest);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    const timespec bound{
        .tv_sec = seconds.count(),
        .tv_nsec = std::chrono::duration_cast<std::chrono::nanoseconds>(left - seconds).count()};
    ::ppoll(inputs.data(), inputs.size(), &bound, nullptr);
}

}  // namespace tarn::peers
