#include "platform/resource_manager/ResourceManagerRequestHandler.h"

#include <mutex>
#include <stdexcept>
#include <utility>

#include "platform/access/Gatekeeper.h"
#include "platform/resource_manager/RegistryFolder.h"
#include "platform/resource_manager/registry/Registry.h"
#include "platform/resource_manager/registry/StaleSockets.h"
#include "platform/resource_manager/server/RequestDispatcher.h"
#include "platform/resource_manager/server/ServedRegistry.h"
#include "platform/socket/RequestThread.h"
#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"
#include "proto/resource_manager.pb.h"

namespace tarn::resource_manager {

namespace {

constexpr std::uint32_t maxRequestBytes = 16U << 20U;

// Only our own programs get so far: what is too large is worth a line before it ends a connection.
constexpr std::size_t mostTaken = 4 * maxRequestBytes;

const tarn::utils::MessageFormatter& formatter() {
    static const auto* const instance = new tarn::utils::MessageFormatter("ResourceManager");
    return *instance;
}

std::shared_ptr<Registry> openRegistry(const std::string& folder,
                                       const tarn::socket::SocketEndpoint& endpoint) {
    auto opened = RegistryFolder(folder).open(endpoint.toString(tarn::socket::Protocol::None));
    auto registry = std::make_shared<Registry>(std::move(opened.contents), std::move(opened.store),
                                               removeLeftSockets);
    registry->clearDeadProcesses();
    return registry;
}

tarn::proto::resource_manager::Reply refusal(const tarn::proto::resource_manager::Request& request,
                                             const std::string& reason) {
    tarn::proto::resource_manager::Reply reply;
    reply.set_type(request.type());
    reply.set_success(false);
    reply.set_error_message(reason);
    return reply;
}

tarn::socket::RequestServer::Serve serving(const std::shared_ptr<Registry>& registry) {
    using tarn::proto::resource_manager::Request;
    const auto gatekeeper = std::make_shared<access::Gatekeeper>(formatter().formatMessage(""));
    auto answer = tarn::socket::answering<Request>(
        maxRequestBytes, [dispatcher = RequestDispatcher(registry), gatekeeper](
                             const Request& request, const tarn::socket::Peer& sender) {
            const auto refused =
                gatekeeper->refusalOfOthers(sender, Request::Type_Name(request.type()));
            return refused ? refusal(request, *refused) : dispatcher.answer(request);
        });
    return [answer = std::move(answer), registry](tarn::socket::Socket& socket) {
        answer(socket);
        registry->storeWhatIsMissing();
    };
}

}  // namespace

struct ResourceManagerRequestHandler::Implementation {
    struct Running {
        std::shared_ptr<Registry> registry;
        ServedRegistry forThisProcess;
        tarn::socket::RequestThread forOthers;

        Running(std::unique_ptr<tarn::socket::Socket> socket, std::shared_ptr<Registry> opened,
                const tarn::socket::SocketEndpoint& endpoint)
            : registry(std::move(opened)),
              forThisProcess(endpoint, registry),
              forOthers(std::move(socket), serving(registry),
                        {.notServed = formatter().formatMessage(""),
                         .notWaited = formatter().formatMessage("Waiting for requests failed: ")}) {
        }
    };

    std::string registryFolder;
    std::mutex mutex;                  // never held while something is opened or closed
    std::shared_ptr<Running> running;  // guarded by mutex; null while not started

    std::shared_ptr<Running> get() {
        const std::lock_guard lock(mutex);
        return running;
    }
    std::shared_ptr<Running> replaceBy(std::shared_ptr<Running> next) {
        const std::lock_guard lock(mutex);
        return std::exchange(running, std::move(next));
    }
};

ResourceManagerRequestHandler::ResourceManagerRequestHandler(std::string registryFolder)
    : impl(std::make_unique<Implementation>()) {
    impl->registryFolder = std::move(registryFolder);
}

ResourceManagerRequestHandler::~ResourceManagerRequestHandler() {
    terminate();
}

// The endpoint comes first: while another service still has it, its registry is not touched.
bool ResourceManagerRequestHandler::start(const tarn::socket::SocketEndpoint& endpoint) {
    terminate();
    try {
        auto socket = tarn::socket::makeAnsweringSocket(
            "Resource manager", endpoint, tarn::socket::Audience::OwnPrograms, mostTaken);
        impl->replaceBy(std::make_shared<Implementation::Running>(
            std::move(socket), openRegistry(impl->registryFolder, endpoint), endpoint));
        return true;
    } catch (const std::exception& e) {
        tarn::utils::logError(formatter().formatMessage(
            std::string("Failed starting the resource manager: ") + e.what()));
        return false;
    }
}

bool ResourceManagerRequestHandler::refuseRegistrations() {
    const auto running = impl->get();
    if (!running) {
        return false;
    }
    running->registry->refuseRegistrations();
    return true;
}

void ResourceManagerRequestHandler::terminate() {
    if (const auto running = impl->replaceBy(nullptr)) {
        running->registry->close();  // before the endpoint is free for another service
    }
}

ResourceManagerRequestHandler& GetResourceManagerRequestHandler() {
    static ResourceManagerRequestHandler handler;
    return handler;
}

}  // namespace tarn::resource_manager
