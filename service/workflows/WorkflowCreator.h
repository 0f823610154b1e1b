#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "platform/access/Owner.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/MessageFormatter.h"
#include "platform/utils/Synchronised.h"
#include "proto/job_monitoring.fwd.h"
#include "proto/service_job.fwd.h"

namespace tarn::resource_manager {
class ResourceManagerProxy;
}
namespace tarn::service::configuration {
class ConfigurationHandler;
}

namespace tarn::service {

/// Starts jobs, and chooses the endpoints that jobs and engines listen on.
///
/// init is called once, before any other thread uses the object; everything else may be called from
/// any thread. createWorkflow blocks its caller for the whole exchange with the new job: at most 2
/// s for it to appear, 5 s to take its setup and 5 s to answer. A job answers within 300 ms,
/// whether it is ready by then or not; only one that hangs takes longer.
class WorkflowCreator : public tarn::utils::MessageFormatter {
  public:
    /// Property name to values.
    using Properties = std::map<std::string, std::vector<std::string>>;

    /// What the creator works with; all of it must outlive it.
    struct Dependencies {
        const configuration::ConfigurationHandler& configuration;
        resource_manager::ResourceManagerProxy& resourceManager;
        std::function<void(const std::string& command)> runShell;
        std::function<int()> random;  ///< draws like rand; called under a lock
        /// Whether a job could listen there now; called under a lock. Without it every one could.
        std::function<bool(const socket::SocketEndpoint& endpoint)> isFree = {};
    };

    explicit WorkflowCreator(Dependencies dependencies);
    ~WorkflowCreator() override = default;

    /// Takes the service's endpoints as configured, a "*" host included.
    void init(const socket::SocketEndpoint& requests, const socket::SocketEndpoint& events);
    const socket::SocketEndpoint& getRequestsEndpoint() const { return requestsEndpoint; }
    const socket::SocketEndpoint& getEventsEndpoint() const { return eventsEndpoint; }

    /// A new private endpoint. Always true.
    bool generateIpcEndpointString(std::string& endpoint, std::string& error);

    /// A new endpoint of the requests endpoint's kind. Over TCP: a port of the range configured for
    /// its host that neither was handed out lately nor is held by a running job; false, with the
    /// reason in `error`, when none was found. One on which somebody else listens is given, with a
    /// warning, only where no other was found. Any transport but IPC and TCP gives an empty text.
    bool generateNewEndpointString(std::string& endpoint, std::string& error);

    /// Who has the ports that job endpoints are drawn from, for people: why no endpoint may have
    /// been found. Empty where none are drawn.
    std::string describePortUse();

    /// Launches a job and hands it its setup. False when a job with its id runs already, and when
    /// the job refuses its setup or answers with something else; true otherwise, also when the
    /// exchange failed, since the launcher has been started by then. Everything is logged; does not
    /// throw. `persistentFilePath` and `persistentJobName` are empty for a job that is not
    /// persistent. `restoredFromFile` is the file that a job comes back from: the job's own from
    /// then on, whatever `persistentFilePath` says. `owner` is who submitted it.
    bool createWorkflow(const std::string& ipcEndpoint, const std::string& firstJobEndpoint,
                        const std::string& secondJobEndpoint,
                        const tarn::proto::job_monitoring::JobDescription& jobDescription,
                        const Properties& properties, const std::string& jobConfiguration,
                        const std::string& persistentFilePath, const std::string& persistentJobName,
                        const std::string& restoredFromFile = {}, const access::Owner& owner = {});

    /// Starts the job of every regular file in the persistent jobs folder, with fresh endpoints;
    /// one that still runs is left alone. Files are read only; what is wrong with one is logged and
    /// keeps no other from coming back. `breakOff`, if given, is asked before each file whether to
    /// leave out the rest.
    void regeneratePersistentJobs(const std::function<bool()>& breakOff = {});
    void regeneratePersistentJob(const std::string& path);

  private:
    struct PortRange {
        std::int32_t from;
        std::int32_t to;
    };

    PortRange jobPorts() const;
    PortRange rangeOfPorts(bool& isConfigured) const;
    std::string drawTcpEndpoint();
    bool isHeldByAJob(const std::string& endpoint);
    bool isGivenOut(const std::list<std::string>& recent, const std::string& endpoint);
    enum class Listener { None, Somebody, Impossible };
    Listener listenerOn(const std::string& endpoint) const;
    std::string findTcpEndpoint(const std::list<std::string>& recent);  // empty: none
    bool isRunning(const std::string& uuid);
    void recreate(const tarn::proto::service_job::ServiceToJobRequestSetup& stored,
                  const std::string& file);
    void launch(const std::string& label, const std::string& ipcEndpoint);
    bool setUpJob(const std::string& ipcEndpoint,
                  const tarn::proto::service_job::ServiceToJobRequest& request);

    socket::SocketEndpoint requestsEndpoint;
    socket::SocketEndpoint eventsEndpoint;
    const Dependencies dependencies;

    /// TCP endpoints handed out last, oldest first: their jobs may not have registered them yet.
    utils::Synchronised<std::list<std::string>> recentEndpoints;
};

/// The process's creator; created on first use, destroyed at exit.
WorkflowCreator& GetWorkflowCreator();

}  // namespace tarn::service
