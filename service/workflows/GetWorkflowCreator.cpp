#include "platform/resource_manager/ResourceManagerProxy.h"
#include "service/configuration/GetConfigurationHandler.h"
#include "service/workflows/ShellCommand.h"
#include "service/workflows/WorkflowCreator.h"
#include "service/workflows/launch/FreeEndpoint.h"
#include "service/workflows/launch/PrivateRandom.h"

namespace tarn::service {

WorkflowCreator& GetWorkflowCreator() {
    static PrivateRandom ports;
    static WorkflowCreator creator({configuration::GetConfigurationHandler(),
                                    resource_manager::GetResourceManagerProxy(), runShellCommand,
                                    [] { return ports.next(); }, isFreeEndpoint});
    return creator;
}

}  // namespace tarn::service
