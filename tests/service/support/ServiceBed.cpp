#include "tests/service/support/ServiceBed.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "platform/utils/UuidGenerator.h"
#include "proto/job_monitoring.pb.h"
#include "service/devices/capture/DeltacastDeviceController.h"
#include "service/devices/protocol/TarnProtocolDeviceController.h"

namespace tarn::test {

std::string uniqueEndpoint() {
    return "ipc:///tmp/" + utils::UuidGenerator::Generate();
}

std::string freeTcpEndpoint() {
    const int probe = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    const bool bound = probe >= 0 && ::bind(probe, generic, size) == 0 &&
                       ::getsockname(probe, generic, &size) == 0;
    ::close(probe);
    if (!bound) {
        throw std::runtime_error("no free port");
    }
    return "tcp://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

ServiceBed::ServiceBed(const std::string& sections)
    : configuration([](const char*) { return 0; }),
      resourceManager((folder.path() / "registry").string()),
      workflows({configuration, proxy, shell(), [] { return std::rand(); }}),
      devices({configuration, deviceEvents, emitter,
               [this](const auto& device) { return makeController(device); },
               [this](const auto& storage) { return makeLoopStorageController(storage); }}),
      deviceEvents([this]() -> service::devices::DeviceManager& { return devices; }) {
    const auto resources = uniqueEndpoint();
    const auto file =
        folder.write("configuration.xml", "<TarnHubConfig><Endpoints><ResourcesEndpoint>" +
                                              resources + "</ResourcesEndpoint></Endpoints>" +
                                              sections + "</TarnHubConfig>\n");
    std::string error;
    const auto endpoint = socket::SocketEndpoint::FromString(resources);
    if (!configuration.readConfigurationFile(file, error) || !resourceManager.start(endpoint) ||
        !proxy.connect(endpoint, error)) {
        throw std::runtime_error("cannot set up the test: " + error);
    }
}

std::shared_ptr<service::devices::DeviceController> ServiceBed::makeController(
    const service::configuration::TarnDevice& device) {
    using service::devices::DeltacastDeviceController;
    using service::devices::TarnProtocolDeviceController;
    const auto& endpoint = device.monitoringInterface;
    if (device.type == service::configuration::TarnDeviceType::DELTACAST) {
        return std::make_shared<DeltacastDeviceController>(
            endpoint, DeltacastDeviceController::Dependencies{deviceEvents, configuration, proxy,
                                                              processes, shell()});
    }
    return std::make_shared<TarnProtocolDeviceController>(
        endpoint, TarnProtocolDeviceController::Dependencies{deviceEvents});
}

// Listener and controllers know each other: both are stopped before either is gone.
ServiceBed::~ServiceBed() {
    std::string ignored;
    deviceEvents.stop(ignored);
    devices.stopControllers();
    devices.destroyControllers();
}

std::vector<std::string> ServiceBed::commands() {
    return *noted.lock();
}

void ServiceBed::onCommand(std::function<void(const std::string&)> newAction) {
    action = std::move(newAction);
}

std::function<void(const std::string&)> ServiceBed::shell() {
    return [this](const std::string& command) {
        noted.lock()->push_back(command);
        if (action) {
            action(command);
        }
    };
}

void ServiceBed::registerJob(const std::string& id, const std::string& commandEndpoint,
                             resource_manager::RunningJob::Resources resources) {
    proto::job_monitoring::JobDescription description;
    description.set_name("job " + id);
    description.set_job_id(id);
    const resource_manager::RunningJob job(
        resource_manager::JobDescription(description), commandEndpoint, commandEndpoint + "-events",
        os::ProcessIdentity::ofThisProcess(), std::move(resources));
    std::string error;
    if (!proxy.registerJob(job, error)) {
        throw std::runtime_error("cannot register job " + id + ": " + error);
    }
}

std::string argumentAfter(const std::string& command, const std::string& option) {
    const auto at = command.find(" " + option + " ");
    if (at == std::string::npos) {
        return {};
    }
    const auto begin = at + option.size() + 2;
    return command.substr(begin, command.find(' ', begin) - begin);
}

}  // namespace tarn::test
