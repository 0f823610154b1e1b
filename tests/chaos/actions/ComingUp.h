#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tests/chaos/machine/Machine.h"
#include "tests/chaos/model/LaunchLog.h"
#include "tests/chaos/model/Model.h"
#include "tests/support/MachineTime.h"
#include "tests/system/harness/Api.h"

namespace tarn::chaos {

/// One job from its submission until it plays; and, where it never does, why.
class ComingUp {
  public:
    /// Made just before it is submitted. The service must stay up as long.
    ComingUp(Machine& machine, Order order);

    /// Waits until the job plays. False when it does not within 20 s, or when its service has given
    /// up on its launcher.
    bool await(const test::JobAddress& job);

    /// Whether its service gave up on a launcher to which the machine gave hardly any of the time
    /// that it is promised.
    bool hadTooLittleTime() const { return lateOnBusyMachine; }

    /// All that can be seen of the job, for people: several lines.
    std::string account() const;

  private:
    using Clock = std::chrono::steady_clock;
    using Lines = std::vector<std::string>;

    bool isGivenUp();
    std::chrono::milliseconds machineGaveOf(std::chrono::milliseconds promised) const;
    std::string listing() const;
    std::string state() const;
    std::string launcher() const;
    Lines ownLog() const;

    Machine& machine;
    const Order order;
    const LaunchLog launch;
    const Clock::time_point began = Clock::now();
    const test::MachineTime time;
    std::optional<test::JobAddress> address;
    bool lateOnBusyMachine = false;
};

}  // namespace tarn::chaos
