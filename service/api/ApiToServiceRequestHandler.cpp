#include "service/api/ApiToServiceRequestHandler.h"

#include <system_error>
#include <utility>

#include "platform/socket/RequestServer.h"
#include "platform/utils/Log.h"
#include "proto/api_service.pb.h"
#include "service/api/JobList.h"
#include "service/workflows/WorkflowCreator.h"

namespace tarn::service {

using tarn::proto::api_service::ApiToServiceRequest;
using tarn::proto::api_service::ServiceToApiReply;

namespace {

constexpr std::chrono::milliseconds pollPeriod{500};
constexpr std::uint32_t requestLimit = 10485760;

// Only the first of them has the number of its request.
ServiceToApiReply::ServiceToApiReplyType replyTypeOf(
    ApiToServiceRequest::ApiToServiceRequestType request) {
    switch (request) {
        case ApiToServiceRequest::JOB_SUBMISSION:
            return ServiceToApiReply::JOB_SUBMISSION;
        case ApiToServiceRequest::ENGINE_SUBMISSION:
            return ServiceToApiReply::ENGINE_SUBMISSION;
        case ApiToServiceRequest::GET_JOBS:
            return ServiceToApiReply::GET_JOBS;
        case ApiToServiceRequest::GET_JOB_BY_UUID:
            return ServiceToApiReply::GET_JOB_BY_UUID;
        case ApiToServiceRequest::GET_MONITORING_INFO:
            return ServiceToApiReply::GET_MONITORING_INFO;
        case ApiToServiceRequest::GET_DELTACAST:
            return ServiceToApiReply::GET_DELTACAST;
        case ApiToServiceRequest::CONFIGURE_DELTACAST:
            return ServiceToApiReply::CONFIGURE_DELTACAST;
        case ApiToServiceRequest::LOOP_STORAGE:
            return ServiceToApiReply::LOOP_STORAGE;
        default:
            return ServiceToApiReply::INFO;
    }
}

}  // namespace

ApiToServiceRequestHandler::ApiToServiceRequestHandler(const std::string& serviceName,
                                                       Dependencies dependencies)
    : MessageFormatter("Api requests handler"),
      serviceName(serviceName),
      dependencies(std::move(dependencies)),
      jobList(std::make_unique<JobList>()),
      sendFailures(utils::LogLevel::Error, this->dependencies.steadyNow),
      forFrames{*this, this->dependencies.steadyNow, sendFailures} {}

ApiToServiceRequestHandler::~ApiToServiceRequestHandler() {
    terminate();
}

void ApiToServiceRequestHandler::start(const std::string& name) {
    serviceName = name;
    std::string error;
    if (!dependencies.dictionary.initFromLocalDictionary(error)) {
        utils::logFatal(formatMessage("Init from local dictionary failed: " + error));
    }
    const std::lock_guard lock(terminationMutex);
    if (joining) {
        return;
    }
    requestThread = std::make_shared<std::thread>(
        [this] { requestThreadFunction(dependencies.workflows.getRequestsEndpoint()); });
}

void ApiToServiceRequestHandler::requestThreadFunction(const socket::SocketEndpoint& endpoint) {
    socket::Socket socket("RequestHandlerSocket", socket::ClosePolicy::Discard);
    try {
        socket.createAndConnect(socket::Protocol::Reply, endpoint, 0);
    } catch (const std::exception& e) {
        reportFailedStart(e.what());
        return;
    }
    serve(socket);
}

// The notification waits for somebody to notify: whoever starts the server and then waits for it
// would otherwise miss that it has failed meanwhile.
void ApiToServiceRequestHandler::reportFailedStart(const std::string& reason) {
    utils::logError(formatMessage("Failed creating request reception socket: " + reason));
    std::unique_lock lock(terminationMutex);
    stopFlag = true;
    waiterArrived.wait(lock, [this] { return waiters > 0 || joining; });
    terminationCondition.notify_all();
}

void ApiToServiceRequestHandler::serve(socket::Socket& socket) {
    utils::logTrace(formatMessage("Receiving on " + socket.debugString() + "..."));
    socket::RequestServer server(socket, [this](socket::Socket& arrived) { serveOne(arrived); },
                                 {.notServed = formatMessage("Failed serving API request: "),
                                  .notWaited = formatMessage("Poll error receiving API request: "),
                                  .now = dependencies.steadyNow});
    try {
        while (!stopFlag) {
            server.serveOne(pollPeriod);
        }
    } catch (const socket::ZmqContextTerminationException& e) {
        utils::logInfo(formatMessage(
            std::string("ApiToServiceRequestHandler::requestThreadFunction: ") + e.what()));
    }
}

void ApiToServiceRequestHandler::serveOne(socket::Socket& socket) {
    Request request;
    if (!receive(request, socket)) {
        return;
    }
    if (const auto handler = handlerOf(request)) {
        try {
            (this->*handler)(request, socket);
        } catch (const std::exception& e) {  // one bad request ends nobody else's work
            answerFailure(request, e.what(), socket);
        }
    }
}

bool ApiToServiceRequestHandler::receive(Request& request, socket::Socket& socket) {
    try {
        socket.receiveProtoBuf(&request, requestLimit);
        if (utils::isLogEnabled(utils::LogLevel::Trace)) {
            utils::logTrace(formatMessage("Received " + request.DebugString()));
        }
        return true;
    } catch (const std::exception& e) {
        utils::logError(formatMessage(std::string("Failed receiving API request: ") + e.what()));
        return false;
    }
}

// A handler that has answered already only shows in the log.
void ApiToServiceRequestHandler::answerFailure(const Request& request, const std::string& reason,
                                               socket::Socket& socket) {
    utils::logError(formatMessage("Failed handling API request: " + reason));
    if (!socket.owesAnswer()) {
        return;
    }
    ServiceToApiReply reply;
    reply.set_type(replyTypeOf(request.type()));
    reply.set_success(false);
    reply.set_error_message(reason);
    const auto name = Request::ApiToServiceRequestType_Name(request.type());
    HandlerFrame frame(forFrames, {name + " request ", name + " reply "},
                       HandlerFrame::Work::HasBegun);
    frame.send(reply, socket);
}

ApiToServiceRequestHandler::Handler ApiToServiceRequestHandler::handlerOf(const Request& request) {
    switch (request.type()) {
        case Request::GET_INFO:
            return &ApiToServiceRequestHandler::handleGetInfoRequest;
        case Request::JOB_SUBMISSION:
            return &ApiToServiceRequestHandler::handleJobSubmissionRequest;
        case Request::ENGINE_SUBMISSION:
            return &ApiToServiceRequestHandler::handleEngineSubmissionRequest;
        case Request::GET_JOBS:
            return &ApiToServiceRequestHandler::handleGetJobsRequest;
        case Request::GET_JOB_BY_UUID:
            return &ApiToServiceRequestHandler::handleGetJobByUuidRequest;
        case Request::GET_MONITORING_INFO:
            return &ApiToServiceRequestHandler::handleGetMonitoringInfoRequest;
        case Request::LOOP_STORAGE:
            return &ApiToServiceRequestHandler::handleLoopStorageRequest;
        case Request::GET_DELTACAST:
            return &ApiToServiceRequestHandler::handleGetDeltacastRequest;
        case Request::CONFIGURE_DELTACAST:
            return &ApiToServiceRequestHandler::handleConfigureDeltacastRequest;
        default:
            return nullptr;
    }
}

void ApiToServiceRequestHandler::terminate() {
    stopFlag = true;
    std::shared_ptr<std::thread> thread;
    {
        const std::lock_guard lock(terminationMutex);
        joining = true;
        waiterArrived.notify_all();
        thread = requestThread;
    }
    if (!thread || !thread->joinable()) {
        return;
    }
    try {
        thread->join();
    } catch (const std::system_error& e) {
        utils::logError(formatMessage(std::string("Failed joining request thread: ") + e.what()));
    }
}

void ApiToServiceRequestHandler::waitForTermination() {
    std::unique_lock lock(terminationMutex);
    ++waiters;
    waiterArrived.notify_all();
    // The stop flag is looked at after a notification only, never before the first one.
    while (!released) {
        try {
            terminationCondition.wait(lock);
        } catch (const std::system_error& e) {
            utils::logError(
                formatMessage(std::string("Failed waiting for termination: ") + e.what()));
        }
        if (stopFlag) {
            break;
        }
    }
    --waiters;
}

void ApiToServiceRequestHandler::releaseWaiters() {
    const std::lock_guard lock(terminationMutex);
    released = true;
    terminationCondition.notify_all();
}

}  // namespace tarn::service
