#pragma once

namespace tarn::service::configuration {

class ConfigurationHandler;

/// The configuration of this process. Created by the first call, from any thread; destroyed when
/// the process exits. Its plug-ins are loaded into the media framework.
ConfigurationHandler& GetConfigurationHandler();

}  // namespace tarn::service::configuration
