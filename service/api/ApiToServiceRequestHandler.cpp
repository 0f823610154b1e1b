#include "service/api/ApiToServiceRequestHandler.h"

#include <system_error>
#include <utility>

#include "platform/socket/Socket.h"
#include "platform/utils/Log.h"
#include "proto/api_service.pb.h"
#include "service/api/JobList.h"
#include "service/workflows/WorkflowCreator.h"

namespace tarn::service {

namespace {

constexpr std::uint32_t pollPeriodMs = 500;
constexpr std::uint32_t requestLimit = 10485760;

}  // namespace

ApiToServiceRequestHandler::ApiToServiceRequestHandler(const std::string& serviceName,
                                                       Surroundings surroundings)
    : MessageFormatter("Api requests handler"),
      serviceName(serviceName),
      surroundings(std::move(surroundings)),
      jobList(std::make_unique<JobList>()) {}

ApiToServiceRequestHandler::~ApiToServiceRequestHandler() {
    terminate();
}

void ApiToServiceRequestHandler::start(const std::string& name) {
    serviceName = name;
    std::string error;
    if (!surroundings.dictionary.initFromLocalDictionary(error)) {
        utils::logFatal(formatMessage("Init from local dictionary failed: " + error));
    }
    requestThread = std::make_shared<std::thread>(
        [this] { requestThreadFunction(surroundings.workflows.getRequestsEndpoint()); });
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
    while (!stopFlag) {
        try {
            std::string error;
            const int result = socket.poll(pollPeriodMs, error);
            if (result == 0) {
                serveOne(socket);
            } else if (result != 1) {
                utils::logError(formatMessage("Poll error receiving API request: " + error));
            }
        } catch (const socket::ZmqContextTerminationException& e) {
            utils::logInfo(formatMessage(
                std::string("ApiToServiceRequestHandler::requestThreadFunction: ") + e.what()));
            return;
        }
    }
}

void ApiToServiceRequestHandler::serveOne(socket::Socket& socket) {
    Request request;
    try {
        socket.receiveProtoBuf(&request, requestLimit);
        if (utils::isLogEnabled(utils::LogLevel::Trace)) {
            utils::logTrace(formatMessage("Received " + request.DebugString()));
        }
    } catch (const std::runtime_error& e) {
        utils::logError(formatMessage(std::string("Failed receiving API request: ") + e.what()));
        return;
    }
    if (const auto handler = handlerOf(request)) {
        try {
            (this->*handler)(request, socket);
        } catch (const std::exception& e) {  // one bad request ends nobody else's work
            utils::logError(formatMessage(std::string("Failed handling API request: ") + e.what()));
        }
    }
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
    {
        const std::lock_guard lock(terminationMutex);
        joining = true;
        waiterArrived.notify_all();
    }
    if (!requestThread || !requestThread->joinable()) {
        return;
    }
    try {
        requestThread->join();
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
