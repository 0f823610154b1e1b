#include <ctime>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/configuration/GetConfigurationHandler.h"
#include "service/devices/DeviceManager.h"
#include "service/workflows/ShellCommand.h"
#include "service/workflows/WorkflowCreator.h"

namespace tarn::service {

ApiToServiceRequestHandler& GetApiToServiceRequestHandler() {
    static ApiToServiceRequestHandler handler(
        "", {GetWorkflowCreator(), resource_manager::GetResourceManagerProxy(),
             configuration::GetConfigurationHandler(), devices::GetDeviceManager(), runShellCommand,
             std::chrono::steady_clock::now, [] { return std::time(nullptr); },
             dictionary::ComponentsDictionary()});
    return handler;
}

}  // namespace tarn::service
