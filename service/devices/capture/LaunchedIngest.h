#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/os/ProcessIdentity.h"

namespace tarn::utils {
class IMessageFormatter;
}

namespace tarn::service::devices {

/// Which process of the ingest service is one that this service launched, or a service before it:
/// that one is started again when it ends by itself, anybody else's is left to him.
///
/// The shell that launches it does not tell which process it becomes. So it is the first one that
/// shows itself within a minute after the launch and was not there before. One thread at a time.
class LaunchedIngest {
  public:
    using ProcessIdentity = os::ProcessIdentity;
    using Time = std::chrono::steady_clock::time_point;

    /// A file that keeps it for the next service, the launch as well; an empty path stands for
    /// none. It has to be gone after a reboot, with which all times begin anew. The formatter
    /// outlives this.
    LaunchedIngest(std::string path, const utils::IMessageFormatter& formatter);

    /// It is being launched.
    void ordered(Time now);

    /// This is the process that answers.
    void showedItself(const os::ProcessIdentity& process, Time now);

    bool is(const os::ProcessIdentity& process) const { return process == launched; }

    static constexpr std::chrono::minutes longestStart{1};

  private:
    void load();
    void keep(const std::string& content) const;

    const std::string path;
    const utils::IMessageFormatter& formatter;
    std::optional<Time> order;
    os::ProcessIdentity seen;
    os::ProcessIdentity launched;
};

}  // namespace tarn::service::devices
