#include "tests/peers/support/TestService.h"

#include <stdexcept>

#include "platform/resource_manager/ResourceManagerProxy.h"

namespace tarn::test {

using tarn::resource_manager::ResourceManagerProxy;
using tarn::resource_manager::ResourceManagerRequestHandler;
using tarn::resource_manager::RunningJob;
using tarn::socket::SocketEndpoint;

TestService::TestService() {
    startWithEmptyRegistry();
}

std::string TestService::endpointText(const std::string& name) const {
    return "ipc://" + pathOf(name);
}

std::string TestService::pathOf(const std::string& name) const {
    return (files.path() / name).string();
}

bool TestService::lists(const std::string& jobId) const {
    return job(jobId).getJobDescription().getJobId() == jobId;
}

RunningJob TestService::job(const std::string& jobId) const {
    ResourceManagerProxy proxy;
    RunningJob found;
    std::string error;
    if (!proxy.connect(SocketEndpoint::FromString(resourcesEndpoint()), error) ||
        !proxy.getRunningJobWithUuid(jobId, found, error)) {
        throw std::runtime_error(error);
    }
    return found;
}

void TestService::stop() {
    handler.reset();
}

void TestService::startWithEmptyRegistry() {
    handler = std::make_unique<ResourceManagerRequestHandler>(
        pathOf("registry" + std::to_string(++registries)));
    if (!handler->start(SocketEndpoint::FromString(resourcesEndpoint()))) {
        throw std::runtime_error("the resource manager does not start");
    }
}

}  // namespace tarn::test
