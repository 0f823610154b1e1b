#pragma once

#include <memory>
#include <string>

#include "tests/support/ForkedProcess.h"

namespace tarn::benchmarks {

/// Processes that do nothing but hand messages on, as the least that a way of as many steps can
/// cost.
class BareRelay {
  public:
    /// Two: PUSH -> [PULL, PUB] -> SUB, of the same bytes.
    /// Three: PUSH -> [PULL, PUSH] -> [PULL, PUB] -> SUB, where the first process answers each
    /// message with as many bytes as it asks for, which go on from there.
    enum class Steps { Two, Three };

    /// Make it before any thread of this process exists.
    explicit BareRelay(Steps steps);
    ~BareRelay();

    /// What to send to have `batch` bytes come out at the other end, and how many to send.
    std::string message(std::size_t event, std::size_t batch) const;

    const std::string& entry() const { return endpoint; }
    std::string exit() const { return endpoint + ".pub"; }

    /// The process at the exit.
    pid_t publisher() const { return last->id(); }

  private:
    std::string middle() const { return endpoint + ".relay"; }

    const Steps steps;
    const std::string endpoint;
    std::unique_ptr<test::ForkedProcess> first;
    std::unique_ptr<test::ForkedProcess> last;
};

}  // namespace tarn::benchmarks
