#pragma once

#include <string>

#include "tests/support/ForkedProcess.h"

namespace tarn::benchmarks {

/// A process of its own that answers every request with as many bytes as asked for: the least that
/// any server behind this transport can cost.
class EchoProcess {
  public:
    /// Make it before any thread of this process exists.
    explicit EchoProcess(std::size_t replySize);
    ~EchoProcess();

    const std::string& address() const { return endpoint; }

  private:
    const std::string endpoint;
    const test::ForkedProcess process;
};

}  // namespace tarn::benchmarks
