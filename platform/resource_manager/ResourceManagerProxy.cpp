#include "platform/resource_manager/ResourceManagerProxy.h"

#include <stdexcept>
#include <utility>

#include "platform/resource_manager/server/LocalBackend.h"
#include "platform/resource_manager/server/ServedRegistry.h"
#include "platform/resource_manager/server/SocketBackend.h"
#include "platform/utils/Synchronised.h"

namespace tarn::resource_manager {

namespace {

std::shared_ptr<Backend> backendFor(const tarn::socket::SocketEndpoint& endpoint) {
    if (ServedRegistry::find(endpoint)) {
        return std::make_shared<LocalBackend>(endpoint);
    }
    return std::make_shared<SocketBackend>(endpoint);
}

// The one place where exceptions become a result and a text.
template <typename Operation>
bool succeeds(std::string& error, Operation operation) {
    error.clear();
    try {
        operation();
        return true;
    } catch (const std::exception& e) {
        error = e.what();
        return false;
    }
}

}  // namespace

struct ResourceManagerProxy::Implementation {
    // A copy, so that operations on other threads, and disconnect, need not wait for this one.
    std::shared_ptr<Backend> connected() {
        auto backend = *current.lock();
        if (!backend) {
            throw std::runtime_error("Not connected to a resource manager");
        }
        return backend;
    }

    tarn::utils::Synchronised<std::shared_ptr<Backend>> current;
};

ResourceManagerProxy::ResourceManagerProxy() : impl(std::make_unique<Implementation>()) {}

ResourceManagerProxy::~ResourceManagerProxy() = default;

bool ResourceManagerProxy::connect(const tarn::socket::SocketEndpoint& endpoint,
                                   std::string& error) {
    impl->current.lock()->reset();
    return succeeds(error, [&] {
        auto backend = backendFor(endpoint);
        *impl->current.lock() = std::move(backend);
    });
}

bool ResourceManagerProxy::disconnect(std::string& error) {
    return succeeds(error, [&] {
        impl->connected();
        impl->current.lock()->reset();
    });
}

bool ResourceManagerProxy::getRunningJobs(std::list<RunningJob>& jobs, std::string& error) {
    jobs.clear();
    return succeeds(error, [&] { jobs = impl->connected()->runningJobs(); });
}

bool ResourceManagerProxy::getRunningJobWithUuid(const std::string& uuid, RunningJob& job,
                                                 std::string& error) {
    job = RunningJob();
    return succeeds(error, [&] { job = impl->connected()->runningJobWithUuid(uuid); });
}

bool ResourceManagerProxy::getRunningJobsWithPropertyAndValue(
    const std::string& property, const std::string& value, std::list<RunningJob>& jobs,
    std::string& error, bool exact, bool ignoreCase, bool prefix, bool negate) {
    jobs.clear();
    PropertyMatch match{property, value};
    match.compared = exact    ? PropertyMatch::Compared::WholeValue
                     : prefix ? PropertyMatch::Compared::Beginning
                              : PropertyMatch::Compared::AnyPart;
    match.letters =
        ignoreCase ? PropertyMatch::Letters::CaseIgnored : PropertyMatch::Letters::Distinct;
    match.wanted = negate ? PropertyMatch::Wanted::NotMatching : PropertyMatch::Wanted::Matching;
    return succeeds(error, [&] { jobs = impl->connected()->jobsThatMatch(match); });
}

bool ResourceManagerProxy::getUsedResources(const std::string& resourceType,
                                            std::list<std::string>& resources, std::string& error) {
    resources.clear();
    return succeeds(error, [&] { resources = impl->connected()->usedResources(resourceType); });
}

bool ResourceManagerProxy::clearDeadProcesses(std::string& error) {
    return succeeds(error, [&] { impl->connected()->clearDeadProcesses(); });
}

bool ResourceManagerProxy::registerJob(const RunningJob& job, std::string& error) {
    return succeeds(error, [&] { impl->connected()->registerJob(job); });
}

bool ResourceManagerProxy::unregisterJob(const std::string& uuid, std::string& error) {
    return succeeds(error, [&] { impl->connected()->unregisterJob(uuid); });
}

bool ResourceManagerProxy::awaitLoss(int interruption, std::chrono::milliseconds bound,
                                     std::string& error) {
    bool isLost = false;
    return succeeds(error, [&] { isLost = impl->connected()->awaitLoss(interruption, bound); }) &&
           isLost;
}

bool ResourceManagerProxy::setDeltacastConfiguration(const DeltacastConfiguration& configuration,
                                                     std::string& error) {
    return succeeds(error, [&] { impl->connected()->setDeltacastConfiguration(configuration); });
}

bool ResourceManagerProxy::getDeltacastConfiguration(DeltacastConfiguration& configuration,
                                                     std::string& error) {
    configuration = DeltacastConfiguration();
    return succeeds(error, [&] { configuration = impl->connected()->deltacastConfiguration(); });
}

ResourceManagerProxy& GetResourceManagerProxy() {
    static ResourceManagerProxy proxy;
    return proxy;
}

}  // namespace tarn::resource_manager
