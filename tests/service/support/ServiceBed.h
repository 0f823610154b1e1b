#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/resource_manager/ResourceManagerRequestHandler.h"
#include "platform/utils/Synchronised.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/devices/DeviceEventListener.h"
#include "service/devices/DeviceManager.h"
#include "service/devices/capture/ProcessControl.h"
#include "service/events/EventEmitter.h"
#include "service/workflows/WorkflowCreator.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::test {

/// An "ipc://" endpoint that nobody else uses.
std::string uniqueEndpoint();

/// A "tcp://127.0.0.1:port" endpoint whose port was free a moment ago.
std::string freeTcpEndpoint();

/// What the parts of the service work with, all of it private to one test: a configuration, a
/// resource manager with its proxy connected, a workflow creator that starts nothing but notes
/// commands, and a device manager with its listener and emitter, none of which runs.
class ServiceBed {
  public:
    /// `sections` are XML elements under the configuration's root.
    explicit ServiceBed(const std::string& sections = {});
    ~ServiceBed();

    /// The shell commands so far.
    std::vector<std::string> commands();

    /// Called with each shell command, in the place of a shell.
    void onCommand(std::function<void(const std::string&)> action);

    /// The same for code that runs commands itself.
    std::function<void(const std::string&)> shell();

    /// Registers a job of this process.
    void registerJob(const std::string& id, const std::string& commandEndpoint,
                     resource_manager::RunningJob::Resources resources = {});

    TemporaryFolder folder;
    LogCapture log;
    service::configuration::ConfigurationHandler configuration;
    resource_manager::ResourceManagerRequestHandler resourceManager;
    resource_manager::ResourceManagerProxy proxy;

    /// What the device manager makes for a configured loop storage; set before it is initialised.
    std::function<std::shared_ptr<service::devices::LoopStorageDeviceController>(
        const service::configuration::LoopStorageConfigurationHandler&)>
        makeLoopStorageController;

  private:
    std::shared_ptr<service::devices::DeviceController> makeController(
        const service::configuration::TarnDevice& device);

    service::devices::RealProcessControl processes;
    utils::Synchronised<std::vector<std::string>> noted;
    std::function<void(const std::string&)> action;

  public:
    service::WorkflowCreator workflows;

    service::EventEmitter emitter;
    service::devices::DeviceManager devices;
    service::devices::DeviceEventListener deviceEvents;
};

/// The word that follows `option` in a command line; empty when there is none.
std::string argumentAfter(const std::string& command, const std::string& option);

}  // namespace tarn::test
