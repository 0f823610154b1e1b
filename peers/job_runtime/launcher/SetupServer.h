#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "peers/job_runtime/JobSetup.h"
#include "peers/job_runtime/SetupProtocol.h"
#include "platform/socket/RequestServer.h"

namespace tarn::peers {

class StopRequest;

/// The private endpoint on which a launcher is told what to run, once.
class SetupServer {
  public:
    using Clock = std::chrono::steady_clock;

    /// Binds; throws std::runtime_error, std::invalid_argument for a bad endpoint.
    SetupServer(const std::string& endpoint, const SetupProtocol& protocol);

    /// The first valid setup that this process's own user sends, or root; others are refused and
    /// waiting goes on. Nothing when `deadline` has
    /// passed or a stop is wished.
    std::optional<JobSetup> wait(Clock::time_point deadline, StopRequest& stop);

    /// Answers the setup and closes: the endpoint is free then, and the answer on its way. A caller
    /// that has gone is a warning in the log.
    void answer(const SetupVerdict& verdict);

  private:
    void receive();
    void refuse(const std::string& why);
    void send(const SetupVerdict& verdict);

    const SetupProtocol& protocol;
    const std::unique_ptr<tarn::socket::Socket> socket;
    tarn::socket::RequestServer server;
    std::optional<JobSetup> received;
};

}  // namespace tarn::peers
