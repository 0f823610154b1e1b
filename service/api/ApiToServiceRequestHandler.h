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

#include "platform/access/Gatekeeper.h"
#include "platform/dictionary/ComponentsDictionary.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/MessageFormatter.h"
#include "platform/utils/RepeatedFailure.h"
#include "proto/api_service.pb.h"
#include "proto/loop_storage.fwd.h"
#include "proto/service_engine.fwd.h"
#include "service/api/HandlerFrame.h"
#include "service/api/JobList.h"
#include "service/api/RequestLevels.h"
#include "service/api/SubmissionLimits.h"

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

class WorkflowCreator;

/// The API server: one thread that receives requests and answers them one after the other, in
/// arrival order.
///
/// start, waitForTermination and terminate may be called from different threads, each from one at a
/// time. The handlers run on the request thread only and need no lock among themselves.
///
/// A further request is its message in proto/api_service.proto, a handler in requests/, and here
/// the handler's declaration and its line in the table at the end, with the level that it needs.
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
        std::function<void()> serving = [] {};  ///< called once the endpoint can be reached
        std::function<void()> alive = [] {};    ///< called after each round of the request loop
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
    using Reply = tarn::proto::api_service::ServiceToApiReply;

    /// Does what is the request's own: the frame times it and sends its reply when it returns.
    using Handler = void (ApiToServiceRequestHandler::*)(Request&, HandlerFrame&);

    /// What one must be allowed to make a request.
    using LevelNeeded = access::Level (*)(const Request&);

    /// A kind of request that is served; every other kind is left without an answer.
    struct Served {
        Request::ApiToServiceRequestType type;
        LevelNeeded level;
        Handler handler;
        Reply::ServiceToApiReplyType replyType;
        HandlerFrame::Labels labels;
    };
    static const Served served[];

    void serve(socket::Socket& socket);
    void serveOne(socket::Socket& socket);
    void serve(const Served& kind, Request& request, HandlerFrame& frame);
    bool receive(Request& request, socket::Socket& socket);
    void reportFailedStart(const std::string& reason);

    void handleGetInfoRequest(Request& request, HandlerFrame& frame);
    void handleJobSubmissionRequest(Request& request, HandlerFrame& frame);
    void handleEngineSubmissionRequest(Request& request, HandlerFrame& frame);
    void handleGetJobsRequest(Request& request, HandlerFrame& frame);
    void handleGetJobByUuidRequest(Request& request, HandlerFrame& frame);
    void handleGetMonitoringInfoRequest(Request& request, HandlerFrame& frame);
    void handleLoopStorageRequest(Request& request, HandlerFrame& frame);
    void handleGetDeltacastRequest(Request& request, HandlerFrame& frame);
    void handleConfigureDeltacastRequest(Request& request, HandlerFrame& frame);

    // Declared for clients of long ago; never dispatched.
    void handleKillRequest(Request&, HandlerFrame&) {}
    void handleGetDeviceStatusRequest(Request&, HandlerFrame&) {}
    void handleRequestError(Request&, HandlerFrame&) {}

    /// False when the reply tells of a failure.
    bool operateLoopStorage(const tarn::proto::loop_storage::Request& wanted,
                            tarn::proto::loop_storage::Reply& reply);

    /// Where a persistent job keeps itself, and under which name; both empty for any other job.
    struct Persistence {
        std::string filePath;
        std::string jobName;
    };

    /// Refuses when whoever asks may submit nothing more now.
    bool maySubmit(HandlerFrame& frame);
    bool isRunning(const std::string& jobId) const;
    bool generateJobEndpoints(std::vector<std::string>& endpoints, std::size_t count,
                              std::string& error);
    Persistence persistenceOf(
        const tarn::proto::api_service::ApiToServiceRequestJobSubmission& submission) const;
    void launchEngine(const std::string& ipcEndpoint);
    void setUpEngine(const std::string& ipcEndpoint,
                     const tarn::proto::service_engine::ServiceToEngineRequest& request);

    std::string serviceName;
    Dependencies dependencies;
    std::atomic<bool> stopFlag{false};

    // The request thread's own:
    access::Gatekeeper gatekeeper;
    utils::RepeatedFailure sendFailures;
    SubmissionLimits submissionLimits;
    const HandlerFrame::Dependencies forFrames;
    JobList jobList;

    std::mutex terminationMutex;
    std::condition_variable terminationCondition;
    std::condition_variable waiterArrived;
    // Guarded by terminationMutex:
    std::shared_ptr<std::thread> requestThread;
    int waiters = 0;
    bool joining = false;   ///< terminate wants the thread to end
    bool released = false;  ///< nobody need wait any more
};

// Request and reply types have the same number in the first line only.
inline constexpr ApiToServiceRequestHandler::Served ApiToServiceRequestHandler::served[] = {
    {Request::GET_INFO,
     requests::always<access::Level::Read>,
     &ApiToServiceRequestHandler::handleGetInfoRequest,
     Reply::INFO,
     {"GetInfo request ", "GetInfo reply "}},
    {Request::JOB_SUBMISSION,
     requests::levelOfSubmission,
     &ApiToServiceRequestHandler::handleJobSubmissionRequest,
     Reply::JOB_SUBMISSION,
     {"JobSubmission request ", "JobSubmission reply "}},
    {Request::ENGINE_SUBMISSION,
     requests::always<access::Level::Admin>,
     &ApiToServiceRequestHandler::handleEngineSubmissionRequest,
     Reply::ENGINE_SUBMISSION,
     {"EngineSubmission request ", "EngineSubmission reply "}},
    {Request::GET_JOBS,
     requests::always<access::Level::Read>,
     &ApiToServiceRequestHandler::handleGetJobsRequest,
     Reply::GET_JOBS,
     {"GetJobs request ", "GetJobs reply "}},
    {Request::GET_JOB_BY_UUID,
     requests::always<access::Level::Read>,
     &ApiToServiceRequestHandler::handleGetJobByUuidRequest,
     Reply::GET_JOB_BY_UUID,
     {"GetJobByUuid request ", "GetJobByUuid reply "}},
    {Request::GET_MONITORING_INFO,
     requests::always<access::Level::Read>,
     &ApiToServiceRequestHandler::handleGetMonitoringInfoRequest,
     Reply::GET_MONITORING_INFO,
     {"GetMonitoringInfo request ", "GetMonitoringInfo reply "}},
    {Request::GET_DELTACAST,
     requests::always<access::Level::Read>,
     &ApiToServiceRequestHandler::handleGetDeltacastRequest,
     Reply::GET_DELTACAST,
     {"GetDeltacast request ", "GetDeltacast reply "}},
    // The ingest process may be restarting.
    {Request::CONFIGURE_DELTACAST,
     requests::always<access::Level::Operate>,
     &ApiToServiceRequestHandler::handleConfigureDeltacastRequest,
     Reply::CONFIGURE_DELTACAST,
     {"ConfigureDeltacast request ", "ConfigureDeltacast reply ", std::chrono::seconds(50)}},
    {Request::LOOP_STORAGE,
     requests::levelOfStorageRequest,
     &ApiToServiceRequestHandler::handleLoopStorageRequest,
     Reply::LOOP_STORAGE,
     {"LoopStorage request ", "LoopStorage reply"}},
};

/// The process's server; created on first use, destroyed at exit.
ApiToServiceRequestHandler& GetApiToServiceRequestHandler();

}  // namespace tarn::service
