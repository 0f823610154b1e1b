#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "service/configuration/TarnDevice.h"

namespace tarn::service::configuration {

class DeltacastServiceConfigurationHandler;
class LoopStorageConfigurationHandler;

/// Ports (from, to) by interface name. From may be above to.
using TcpPortRanges = std::map<std::string, std::pair<std::uint16_t, std::uint16_t>>;

/// Every setting of the service. A value; the handlers are shared with whoever holds a copy.
struct ConfigurationSettings {
    std::string requestsEndpoint;
    std::string eventsEndpoint;
    std::string resourcesEndpoint;
    TcpPortRanges tcpPortRanges;
    std::string workflowLauncher;
    std::string engineLauncher;
    std::vector<std::string> plugins;
    std::vector<std::shared_ptr<LoopStorageConfigurationHandler>> loopStorages;
    std::vector<std::shared_ptr<DeltacastServiceConfigurationHandler>> deltacastServices;
    std::vector<TarnDevice> devices;
    std::string persistentJobsFolder;
    std::string persistentDeltacastConfigurationFile;

    /// Back to the built-in values; no plug-ins, ranges, devices and loop storages. The Deltacast
    /// services and the persistent Deltacast configuration file are kept, on purpose.
    void reset();
};

/// The plug-ins of a service without a configuration file, in loading order.
const std::vector<std::string>& defaultPlugins();

}  // namespace tarn::service::configuration
