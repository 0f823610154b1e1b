#pragma once

#include <atomic>
#include <cstdint>

namespace tarn::utils {
class IMessageFormatter;
}

namespace tarn::service::devices {

/// How the ingest service is, as far as its controller knows.
enum class DeltacastStatus : std::uint32_t {
    Unreachable = 0,  ///< it does not answer, or has never been described
    Starting = 1,     ///< it was launched and has not answered yet
    Running = 2,      ///< it answers
};

/// The status and its changes, each of which is logged. Every change is possible but to Starting
/// from Starting and the like: entering the status that is there already does nothing.
///
///     Unreachable --launched--> Starting --answered--> Running
///     Unreachable --answered--> Running --launched anew--> Starting
///     Starting, Running --no answer, stopped--> Unreachable
///
/// Any thread.
class DeltacastStatusMachine {
  public:
    /// Begins Unreachable. The formatter, which gives the log lines their header, outlives this.
    explicit DeltacastStatusMachine(const utils::IMessageFormatter& formatter)
        : formatter(formatter) {}

    DeltacastStatus current() const { return status; }

    enum class Change { None, Done };
    Change enter(DeltacastStatus next);

  private:
    const utils::IMessageFormatter& formatter;
    std::atomic<DeltacastStatus> status{DeltacastStatus::Unreachable};
};

}  // namespace tarn::service::devices
