#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/chaos/model/Model.h"
#include "tests/support/OutputLines.h"

namespace tarn::chaos {

/// What the log of a service tells of the launch of one job.
class LaunchLog {
  public:
    /// Looks at the lines from `from` on: those before tell of an earlier job of the same id. The
    /// log must outlive it.
    LaunchLog(const test::OutputLines& log, std::size_t from, Order order);

    /// Whether the service gave up on the launcher, since it did not listen in the time it has.
    bool launcherWasLate() const;

    /// The last lines that name the job, its label or its private endpoint.
    std::vector<std::string> lastLines(std::size_t most) const;

  private:
    std::string privateEndpoint() const;  // empty: it was not launched

    const test::OutputLines& log;
    const std::size_t from;
    const Order order;
};

}  // namespace tarn::chaos
