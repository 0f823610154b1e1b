#pragma once

#include <sys/types.h>

#include <stop_token>
#include <string>

#include "platform/resource_manager/ProcessIdentity.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::utils {
class IMessageFormatter;
}

namespace tarn::service::devices {

class ProcessControl;

/// The process of the ingest service, by the id that it tells, and its end.
///
/// The process that is probed and killed is the one that had the id when it was told, and only if
/// it is the one that answers on the monitoring endpoint: an id that passed to somebody else, or
/// was somebody else's all the time, costs nobody anything. A dead process that nobody reaps counts
/// as ended. One thread at a time.
class DeltacastServiceProcess {
  public:
    /// The references outlive this.
    DeltacastServiceProcess(const utils::IMessageFormatter& formatter, ProcessControl& processes);

    /// The service that answers on `endpoint` has just said that this is its id.
    void learn(pid_t id, const socket::SocketEndpoint& endpoint);

    /// Whether the service's process, which is known, does not run any more: it need not be asked
    /// then. The log says so.
    bool hasEnded() const;

    /// Waits until the process has ended, which it was asked to: looks 5 times, a second apart, and
    /// then kills it and looks again every second. Returns early when `stop` is requested. Does
    /// nothing for an id that was never learned, or is not the service's own.
    void end(pid_t id, const std::stop_token& stop);

  private:
    bool isKnown(pid_t id) const;
    bool isRunning() const;
    void waitASecond(const std::stop_token& stop);
    bool endsByItself(const std::stop_token& stop);
    void killHard(const std::stop_token& stop);
    void log(const std::string& text) const;

    enum class Known { Nothing, Own, Strange };

    const utils::IMessageFormatter& formatter;
    ProcessControl& processes;
    Known known = Known::Nothing;
    resource_manager::ProcessIdentity process;
};

}  // namespace tarn::service::devices
