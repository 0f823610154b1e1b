#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/dictionary/ComponentsDictionary.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/MessageFormatter.h"
#include "platform/utils/RepeatedFailure.h"
#include "proto/api_service.fwd.h"
#include "proto/loop_storage.fwd.h"
#include "proto/service_engine.fwd.h"
#include "service/api/HandlerFrame.h"

namespace tarn::resource_manager {
class ResourceManagerProxy;
}
namespace tarn::service::configuration {
class ConfigurationHandler;
}

namespace tarn::service::devices {
class DeviceManager;
}

namespace tarn::service {

class JobList;
class WorkflowCreator;

/// The API server: one thread that receives requests and answers them one after the other, in
/// arrival order.
///
/// start, waitForTermination and terminate may be called from different threads, each from one at a
/// time. The handlers run on the request thread only and need no lock among themselves.
class ApiToServiceRequestHandler : public tarn::utils::MessageFormatter {
  public:
    /// What the handlers work with; the references must outlive the object.
    struct Dependencies {
        WorkflowCreator& workflows;
        resource_manager::ResourceManagerProxy& resourceManager;
        const configuration::ConfigurationHandler& configuration;
        devices::DeviceManager& devices;
        std::function<void(const std::string& command)> runShell;
        SteadyNow steadyNow;
        std::function<std::time_t()> wallNow;
        dictionary::ComponentsDictionary dictionary;
    };

    ApiToServiceRequestHandler(const std::string& serviceName, Dependencies dependencies);
    ~ApiToServiceRequestHandler() override;  ///< terminates

    /// Loads the components dictionary and launches the thread, which serves the workflow creator's
    /// requests endpoint. After terminate it launches nothing.
    void start(const std::string& serviceName);

    /// Blocks until the request thread has given up because its endpoint could not be opened, or
    /// releaseWaiters was called after terminate. A normal terminate does not end it.
    void waitForTermination();

    /// Stops and joins the thread: within half a second after the request in progress.
    void terminate();

    /// Ends waitForTermination, now and whenever it is called later.
    void releaseWaiters();

    void requestThreadFunction(const socket::SocketEndpoint& endpoint);

  private:
    using Request = tarn::proto::api_service::ApiToServiceRequest;
    using Handler = void (ApiToServiceRequestHandler::*)(Request&, socket::Socket&);

    void serve(socket::Socket& socket);
    void waitAndServe(socket::Socket& socket);
    void serveOne(socket::Socket& socket);
    void reportPollError(const std::string& error);
    bool receive(Request& request, socket::Socket& socket);
    void answerFailure(const Request& request, const std::string& reason, socket::Socket& socket);
    void reportFailedStart(const std::string& reason);
    static Handler handlerOf(const Request& request);

    void handleGetInfoRequest(Request& request, socket::Socket& socket);
    void handleJobSubmissionRequest(Request& request, socket::Socket& socket);
    void handleEngineSubmissionRequest(Request& request, socket::Socket& socket);
    void handleGetJobsRequest(Request& request, socket::Socket& socket);
    void handleGetJobByUuidRequest(Request& request, socket::Socket& socket);
    void handleGetMonitoringInfoRequest(Request& request, socket::Socket& socket);
    void handleLoopStorageRequest(Request& request, socket::Socket& socket);
    void handleGetDeltacastRequest(Request& request, socket::Socket& socket);
    void handleConfigureDeltacastRequest(Request& request, socket::Socket& socket);

    // Declared for clients of long ago; never dispatched.
    void handleKillRequest(Request&, socket::Socket&) {}
    void handleGetDeviceStatusRequest(Request&, socket::Socket&) {}
    void handleRequestError(Request&, socket::Socket&) {}

    /// False when the reply tells of a failure.
    bool operateLoopStorage(const tarn::proto::loop_storage::Request& wanted,
                            tarn::proto::loop_storage::Reply& reply);

    /// Where a persistent job keeps itself, and under which name; both empty for any other job.
    struct Persistence {
        std::string filePath;
        std::string jobName;
    };

    bool generateJobEndpoints(std::vector<std::string>& endpoints, std::size_t count,
                              std::string& error);
    Persistence persistenceOf(
        const tarn::proto::api_service::ApiToServiceRequestJobSubmission& submission) const;
    void launchEngine(const std::string& ipcEndpoint);
    void setUpEngine(const std::string& ipcEndpoint,
                     const tarn::proto::service_engine::ServiceToEngineRequest& request);

    std::string serviceName;
    Dependencies dependencies;
    const std::unique_ptr<JobList> jobList;
    std::atomic<bool> stopFlag{false};

    // The request thread's own:
    utils::RepeatedFailure sendFailures;
    utils::RepeatedFailure pollFailures;
    const HandlerFrame::Dependencies forFrames;

    std::mutex terminationMutex;
    std::condition_variable terminationCondition;
    std::condition_variable waiterArrived;
    // Guarded by terminationMutex:
    std::shared_ptr<std::thread> requestThread;
    int waiters = 0;
    bool joining = false;   ///< terminate wants the thread to end
    bool released = false;  ///< nobody need wait any more
};

/// The process's server; created on first use, destroyed at exit.
ApiToServiceRequestHandler& GetApiToServiceRequestHandler();

}  // namespace tarn::service
