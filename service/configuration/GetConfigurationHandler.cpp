#include "service/configuration/GetConfigurationHandler.h"

#include "platform/media_framework/Kln.h"
#include "service/configuration/ConfigurationHandler.h"

namespace tarn::service::configuration {

ConfigurationHandler& GetConfigurationHandler() {
    static ConfigurationHandler handler(KLNLoadPluginLibrary);
    return handler;
}

}  // namespace tarn::service::configuration
