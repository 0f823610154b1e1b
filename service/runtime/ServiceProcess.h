#pragma once

#include <optional>

#include "platform/access/TcpAccess.h"
#include "platform/socket/SocketEndpoint.h"
#include "service/runtime/shutdown/StopSignal.h"

namespace tarn::service {

class ShutdownThread;
struct RunningParts;

/// The life of the process, from its start to its exit status. Main thread only.
///
/// Start-up is a row of steps; a stop signal lets the step in hand finish, for a second at most,
/// and leaves out the rest.
/// Most failures of a step are logged and the service comes up with what could be set up.
class ServiceProcess {
  public:
    /// Returns the exit status. Throws for a command line that cannot be parsed.
    int run(int argc, const char* const* argv);

  private:
    enum class Step { Done, Failed };

    Step registerLoggers();
    Step loadConfiguration();
    Step protectTcp();
    int runUntilStopped(const RunningParts& parts);
    int runServices(ShutdownThread& shutdown);
    void startMonitoring();
    void startServices();
    void startResourceManager();
    void regenerateJobs();
    void waitForDeltacastService();

    StopSignal stop;  // first: signals are ours before anything else happens
    std::optional<access::TcpAccess> tcpAccess;
    socket::SocketEndpoint requestsEndpoint;
    socket::SocketEndpoint eventsEndpoint;
};

}  // namespace tarn::service
