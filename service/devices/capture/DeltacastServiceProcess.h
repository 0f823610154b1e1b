#pragma once

#include <sys/types.h>

#include <optional>
#include <stop_token>
#include <string>

#include "platform/os/ProcessIdentity.h"
#include "platform/socket/SocketEndpoint.h"
#include "service/devices/Pause.h"

namespace tarn::utils {
class IMessageFormatter;
}

namespace tarn::service::devices {

class ProcessControl;

/// The process of the ingest service, by the id that it tells, and its end.
///
/// The process that is probed and killed is the one that had the id when it was told, and only if
/// it can be shown that it is the one that answers on the monitoring endpoint: an id that passed to
/// somebody else, was somebody else's all the time, or is one of another process namespace, costs
/// nobody anything. Whoever answers there otherwise is only waited for. A dead process that nobody
/// reaps counts as ended. One thread at a time.
///
///     Nothing --told--> Own        shown to answer on the endpoint
///                       Strange    another process answers there
///                       Unproven   neither can be shown; looked at again before it is told to stop
class DeltacastServiceProcess {
  public:
    /// The references outlive this.
    DeltacastServiceProcess(const utils::IMessageFormatter& formatter, ProcessControl& processes,
                            Pause pause);

    /// The service that answers on `endpoint` has just said that this is its id.
    void learn(pid_t id, const socket::SocketEndpoint& endpoint);

    /// The service's process as it was learned last; nothing when it is not known which one it is.
    std::optional<os::ProcessIdentity> own() const;

    /// Whether the service's process, which is known, does not run any more: it need not be asked
    /// then. The log says so.
    bool hasEnded() const;

    /// To be called before the service is asked to end: afterwards it may hold nothing any more.
    void lookAgain();

    /// Waits until the process has ended, which it was asked to: looks 5 times, a second apart, and
    /// then kills it and looks again every second. Where nobody knows which process that is, waits
    /// 5 s at most until nobody listens on the endpoint any more. Returns early when `stop` is
    /// requested. Does nothing for an id that was never learned.
    void end(pid_t id, const std::stop_token& stop);

  private:
    enum class Known { Nothing, Own, Strange, Unproven };

    bool isKnown(pid_t id) const;
    Known find(pid_t id);
    void warnOfAStranger() const;
    bool isRunning() const;
    void awaitSilence(const std::stop_token& stop);
    void waitASecond(const std::stop_token& stop);
    bool endsByItself(const std::stop_token& stop);
    void killHard(const std::stop_token& stop);
    void log(const std::string& text) const;

    const utils::IMessageFormatter& formatter;
    ProcessControl& processes;
    const Pause pause;
    Known known = Known::Nothing;
    socket::SocketEndpoint endpoint;
    os::ProcessIdentity process;
};

}  // namespace tarn::service::devices
