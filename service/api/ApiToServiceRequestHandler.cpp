#include "service/api/ApiToServiceRequestHandler.h"

#include <system_error>
#include <utility>

#include "platform/socket/RequestServer.h"
#include "platform/utils/Log.h"
#include "service/workflows/WorkflowCreator.h"

namespace tarn::service {

namespace {

constexpr std::chrono::milliseconds pollPeriod{500};
constexpr std::uint32_t requestLimit = 10485760;

}  // namespace

ApiToServiceRequestHandler::ApiToServiceRequestHandler(const std::string& serviceName,
                                                       Dependencies dependencies)
    : MessageFormatter("Api requests handler"),
      serviceName(serviceName),
      dependencies(std::move(dependencies)),
      gatekeeper(formatMessage(""), this->dependencies.steadyNow),
      sendFailures(utils::LogLevel::Error, this->dependencies.steadyNow),
      submissionLimits(formatMessage(""), this->dependencies.steadyNow),
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
        socket.setAudience(socket::Audience::Clients);
        socket.createAndConnect(socket::Protocol::Reply, endpoint, 0);
    } catch (const std::exception& e) {
        reportFailedStart(e.what());
        return;
    }
    dependencies.serving();
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
            dependencies.alive();
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
    for (const auto& kind : served) {
        if (kind.type == request.type()) {
            HandlerFrame(forFrames, kind.labels, kind.replyType, socket)
                .run([&](HandlerFrame& frame) { serve(kind, request, frame); });
        }
    }
}

void ApiToServiceRequestHandler::serve(const Served& kind, Request& request, HandlerFrame& frame) {
    if (const auto refused = gatekeeper.refusal(kind.level(request), frame.sender(),
                                                Request::ApiToServiceRequestType_Name(kind.type))) {
        return frame.refuse(*refused);
    }
    (this->*kind.handler)(request, frame);
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
