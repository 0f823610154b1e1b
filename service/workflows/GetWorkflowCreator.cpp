#include <cstdlib>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "service/configuration/GetConfigurationHandler.h"
#include "service/workflows/ShellCommand.h"
#include "service/workflows/WorkflowCreator.h"

namespace tarn::service {

WorkflowCreator& GetWorkflowCreator() {
    static WorkflowCreator creator({configuration::GetConfigurationHandler(),
                                    resource_manager::GetResourceManagerProxy(), runShellCommand,
                                    [] { return std::rand(); }});
    return creator;
}

}  // namespace tarn::service
