#pragma once

#include <sys/types.h>

#include <chrono>
#include <stop_token>

#include "platform/os/ProcessIdentity.h"

namespace tarn::socket {
class SocketEndpoint;
}

namespace tarn::service::devices {

/// What a controller may look at, and do to, a process that is not its child. Tests bring their
/// own. Any thread.
class ProcessControl {
  public:
    using ProcessIdentity = os::ProcessIdentity;

    enum class State {
        Running,
        Gone,      ///< nobody has the id
        Unreaped,  ///< it is dead, and its parent does not take notice
        Another,   ///< the id belongs to a process with another start time
    };
    enum class Holding { Holds, HoldsNot, Unknown };

    virtual ~ProcessControl() = default;

    /// The process that has the id now.
    virtual os::ProcessIdentity identify(pid_t id) = 0;

    virtual State stateOf(const os::ProcessIdentity& process) = 0;

    /// Whether the process has the socket that answers on this endpoint. HoldsNot when another one
    /// has it, also one that has no id here; Unknown when it cannot be shown either way.
    virtual Holding holds(pid_t id, const socket::SocketEndpoint& endpoint) = 0;

    /// Whether somebody listens there, on this machine or another.
    virtual bool isListenedTo(const socket::SocketEndpoint& endpoint) = 0;

    /// SIGKILL, to this very process; false when it does not run any more.
    virtual bool kill(const os::ProcessIdentity& process) = 0;

    /// Returns when the process has ended, `duration` has passed, or `stop` is requested.
    virtual void awaitEnd(const os::ProcessIdentity& process, std::chrono::milliseconds duration,
                          const std::stop_token& stop) = 0;
};

/// The processes of this machine.
class RealProcessControl : public ProcessControl {
  public:
    os::ProcessIdentity identify(pid_t id) override;
    State stateOf(const os::ProcessIdentity& process) override;
    Holding holds(pid_t id, const socket::SocketEndpoint& endpoint) override;
    bool isListenedTo(const socket::SocketEndpoint& endpoint) override;
    bool kill(const os::ProcessIdentity& process) override;
    void awaitEnd(const os::ProcessIdentity& process, std::chrono::milliseconds duration,
                  const std::stop_token& stop) override;
};

}  // namespace tarn::service::devices
