#pragma once

#include <string>

#include "tests/system/harness/RawSocket.h"

namespace tarn::test {

/// A job that is registered as running, accepts connections, and never answers.
class HungJob {
  public:
    /// Throws std::runtime_error when the service's resource manager refuses it.
    HungJob();

    const std::string& id() const { return jobId; }

    /// Whether something was sent to it within the bound.
    bool gotSomething(std::chrono::milliseconds bound);

  private:
    const std::string jobId;
    RawSocket commands{RawSocket::Kind::Router};
};

}  // namespace tarn::test
