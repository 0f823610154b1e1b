#include "platform/socket/SocketListener.h"

#include <google/protobuf/message.h>

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/os/SignalsBlocked.h"
#include "platform/os/WakeUp.h"
#include "platform/socket/Socket.h"
#include "platform/socket/zmq/EndpointQueue.h"
#include "platform/utils/Log.h"
#include "platform/utils/RepeatedFailure.h"

namespace tarn::socket::utils {

namespace {

constexpr std::chrono::milliseconds receiveBound{100};  // what is received here has arrived already
constexpr std::chrono::milliseconds pauseAfterError{100};

// Nothing is done when it has passed: what there is to do wakes the thread.
constexpr std::chrono::milliseconds longestWait = std::chrono::hours(1);

constexpr std::uint32_t defaultMaxMessageSize = 10U << 20;

}  // namespace

struct SocketListener::Implementation {
    SocketListener& owner;
    const Protocol protocol;
    const std::string name;

    // Held by whoever starts, stops or adds from outside the listener's thread, for as long as that
    // takes. The listener's thread never takes it: it may be what the holder waits for.
    std::mutex control;
    std::thread thread;

    std::mutex registeredMutex;
    std::list<SocketEndpoint> registered;

    std::atomic<bool> mustStop = false;
    std::atomic<std::thread::id> threadId;
    os::WakeUp wakeUp;
    EndpointQueue asked;

    // Belongs to the listener's thread while that runs.
    std::shared_ptr<Socket> socket;
    bool isBound = false;
    tarn::utils::RepeatedFailure notReceived{tarn::utils::LogLevel::Error};

    Implementation(SocketListener& owner, Protocol protocol, std::string name)
        : owner(owner), protocol(protocol), name(std::move(name)) {}

    bool isOnThread() const { return std::this_thread::get_id() == threadId; }
    bool isRegistered(const SocketEndpoint& endpoint);
    void registerEndpoint(const SocketEndpoint& endpoint);
    void unregisterEndpoint(const SocketEndpoint& endpoint);

    void openSocket();
    void closeSocket();
    void bind(const SocketEndpoint& endpoint);
    std::string bindAndRegister(const SocketEndpoint& endpoint);
    std::string unbindAndUnregister(const SocketEndpoint& endpoint);
    std::string fulfil(EndpointQueue::Wish wish, const SocketEndpoint& endpoint);
    std::string take(EndpointQueue::Wish wish, const SocketEndpoint& endpoint);
    void noteForLater(EndpointQueue::Wish wish, const SocketEndpoint& endpoint);
    bool takeText(EndpointQueue::Wish wish, const std::string& endpointText, std::string& error);

    void start();
    void stop(std::string& error);

    void run();
    void listen();
    void receiveAndHandle();
    bool receive(const std::shared_ptr<google::protobuf::Message>& message);
    void logFailure(const std::string& text);
};

bool SocketListener::Implementation::isRegistered(const SocketEndpoint& endpoint) {
    const std::lock_guard lock(registeredMutex);
    return std::find(registered.begin(), registered.end(), endpoint) != registered.end();
}

void SocketListener::Implementation::registerEndpoint(const SocketEndpoint& endpoint) {
    const std::lock_guard lock(registeredMutex);
    registered.push_back(endpoint);
}

void SocketListener::Implementation::unregisterEndpoint(const SocketEndpoint& endpoint) {
    const std::lock_guard lock(registeredMutex);
    registered.remove(endpoint);
}

void SocketListener::Implementation::openSocket() {
    std::list<SocketEndpoint> endpoints;
    {
        const std::lock_guard lock(registeredMutex);
        for (const auto& endpoint : registered) {
            if (std::find(endpoints.begin(), endpoints.end(), endpoint) == endpoints.end()) {
                endpoints.push_back(endpoint);
            }
        }
    }
    socket = std::make_shared<Socket>(name, ClosePolicy::Discard);
    socket->create(protocol);
    socket->setTimeout(receiveBound);
    for (const auto& endpoint : endpoints) {
        bind(endpoint);
    }
}

// A handler may have kept the socket; its endpoints have to be free all the same.
void SocketListener::Implementation::closeSocket() {
    if (socket) {
        socket->close();
        socket.reset();
    }
    isBound = false;
}

void SocketListener::Implementation::bind(const SocketEndpoint& endpoint) {
    socket->connect(endpoint, 0);
    isBound = true;
}

std::string SocketListener::Implementation::bindAndRegister(const SocketEndpoint& endpoint) {
    if (isRegistered(endpoint)) {
        return {};
    }
    try {
        bind(endpoint);
    } catch (const std::exception& failure) {
        return failure.what();
    }
    registerEndpoint(endpoint);
    return {};
}

std::string SocketListener::Implementation::unbindAndUnregister(const SocketEndpoint& endpoint) {
    try {
        if (isBound) {
            socket->unbind(endpoint);
        }
    } catch (const std::exception& failure) {
        return failure.what();
    }
    unregisterEndpoint(endpoint);
    return {};
}

std::string SocketListener::Implementation::fulfil(EndpointQueue::Wish wish,
                                                   const SocketEndpoint& endpoint) {
    return wish == EndpointQueue::Wish::Bind ? bindAndRegister(endpoint)
                                             : unbindAndUnregister(endpoint);
}

void SocketListener::Implementation::start() {
    const std::lock_guard lock(control);
    if (thread.joinable()) {
        return;
    }
    try {
        openSocket();
        mustStop = false;
        asked.open();
        const tarn::os::SignalsBlocked duringStart;
        thread = std::thread([this] { run(); });
    } catch (...) {
        asked.close();
        closeSocket();
        throw;
    }
}

void SocketListener::Implementation::stop(std::string& error) {
    const std::lock_guard lock(control);
    if (!thread.joinable()) {
        return;
    }
    mustStop = true;
    wakeUp.ring();
    try {
        thread.join();
    } catch (const std::system_error& failure) {
        error = failure.what();
    }
}

std::string SocketListener::Implementation::take(EndpointQueue::Wish wish,
                                                 const SocketEndpoint& endpoint) {
    if (isOnThread()) {
        return fulfil(wish, endpoint);
    }
    const std::lock_guard lock(control);
    if (thread.joinable()) {
        return asked.ask(wish, endpoint, [this] { wakeUp.ring(); });
    }
    noteForLater(wish, endpoint);
    return {};
}

bool SocketListener::Implementation::takeText(EndpointQueue::Wish wish,
                                              const std::string& endpointText, std::string& error) {
    try {
        error = take(wish, SocketEndpoint::FromString(endpointText));
    } catch (const std::exception& failure) {
        error = failure.what();
    }
    return error.empty();
}

void SocketListener::Implementation::noteForLater(EndpointQueue::Wish wish,
                                                  const SocketEndpoint& endpoint) {
    if (wish == EndpointQueue::Wish::Unbind) {
        unregisterEndpoint(endpoint);
    } else if (!isRegistered(endpoint)) {
        registerEndpoint(endpoint);
    }
}

void SocketListener::Implementation::run() {
    threadId = std::this_thread::get_id();
    try {
        listen();
    } catch (const ZmqContextTerminationException& end) {
        tarn::utils::logInfo(owner.formatMessage(std::string("Ending: ") + end.what()));
    }
    asked.close();
    closeSocket();
    threadId = std::thread::id();
}

void SocketListener::Implementation::listen() {
    while (true) {
        wakeUp.reset();
        if (mustStop) {
            return;
        }
        asked.serve([this](EndpointQueue::Wish wish, const SocketEndpoint& endpoint) {
            return fulfil(wish, endpoint);
        });
        if (!isBound) {
            wakeUp.waitFor(longestWait);
            continue;
        }
        std::string error;
        const int result = socket->pollWith(wakeUp.descriptor(), longestWait.count(), error);
        if (result == 0) {
            receiveAndHandle();
        } else if (result != 1) {
            logFailure("Failed waiting for messages: " + error);
            wakeUp.waitFor(pauseAfterError);  // an error that stays must not take a processor
        }
    }
}

void SocketListener::Implementation::receiveAndHandle() {
    try {
        const auto message = owner.getBaseMessage();
        if (receive(message)) {
            owner.handleMessage(message, socket);
        }
    } catch (const ZmqContextTerminationException&) {
        throw;
    } catch (const std::exception& failure) {
        logFailure(std::string("Failed handling message: ") + failure.what());
    } catch (...) {
        logFailure("Failed handling message: unknown exception");
    }
}

bool SocketListener::Implementation::receive(
    const std::shared_ptr<google::protobuf::Message>& message) {
    try {
        return socket->receiveProtoBuf(
            message.get(), owner.maxMessageSize,
            [this](std::string_view bytes) { return owner.admits(bytes); });
    } catch (const std::runtime_error& failure) {
        notReceived.log(
            owner.formatMessage(std::string("Failed receiving message: ") + failure.what()));
        return false;
    }
}

void SocketListener::Implementation::logFailure(const std::string& text) {
    tarn::utils::logError(owner.formatMessage(text));
}

SocketListener::SocketListener(Protocol protocol, std::string name)
    : maxMessageSize(defaultMaxMessageSize),
      impl(std::make_unique<Implementation>(*this, protocol, std::move(name))) {}

SocketListener::~SocketListener() {
    std::string error;
    impl->stop(error);
}

std::string SocketListener::messageHeader() const {
    return impl->name;
}

void SocketListener::stop(std::string& error) {
    error.clear();
    if (impl->isOnThread()) {
        error = "a listener cannot be stopped by its own thread";
        return;
    }
    impl->stop(error);
}

bool SocketListener::start(std::string& error) {
    error.clear();
    if (impl->isOnThread()) {
        return true;
    }
    try {
        impl->start();
        return true;
    } catch (const std::exception& failure) {
        error = failure.what();
        return false;
    }
}

bool SocketListener::addListenEndpoint(const std::string& endpointText, std::string& error) {
    return impl->takeText(EndpointQueue::Wish::Bind, endpointText, error);
}

bool SocketListener::removeListenEndpoint(const std::string& endpointText, std::string& error) {
    return impl->takeText(EndpointQueue::Wish::Unbind, endpointText, error);
}

bool SocketListener::admits(std::string_view) {
    return true;
}

std::list<SocketEndpoint>& SocketListener::listenEndpoints() {
    return impl->registered;
}

}  // namespace tarn::socket::utils
