#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/socket/Limits.h"
#include "service/configuration/JobCellSettings.h"

namespace tarn::service::configuration {

class DeltacastServiceConfigurationHandler;
class LoopStorageConfigurationHandler;

enum class TarnDeviceType : std::int32_t { GENERIC = 0, DELTACAST = 1, DPDK = 2 };

/// A device that speaks the monitoring protocol.
struct TarnDevice {
    TarnDeviceType type = TarnDeviceType::GENERIC;
    std::string monitoringInterface;  ///< Endpoint text of the device's monitoring socket.
    /// Over TCP: its public key, where that is not this machine's own.
    std::string publicKey = {};
};

/// The kinds of devices. A further one is a line here, its controller, and the making of that in
/// service/runtime/Singletons.cpp.
struct TarnDeviceKind {
    TarnDeviceType type;
    const char* typeInFile;  ///< Null: no element yields it. Any text that is no other's: GENERIC.
    const char* reportTag;
};
inline constexpr TarnDeviceKind deviceKinds[] = {
    {TarnDeviceType::GENERIC, "Generic", "[Generic]"},
    {TarnDeviceType::DELTACAST, "Deltacast", "[Deltacast]"},
    {TarnDeviceType::DPDK, nullptr, "[DPDK]"},
};

/// Ports (from, to) by interface name. From may be above to.
using TcpPortRanges = std::map<std::string, std::pair<std::uint16_t, std::uint16_t>>;

/// How connections over TCP are protected.
struct SecuritySettings {
    bool required = false;   ///< Without keys, TCP stays within this machine.
    std::string keyFile;     ///< This machine's secret key; empty: there are no keys.
    std::string clientKeys;  ///< The file with the keys of clients.
    /// The file with this machine's key and certificate for loop storages over TCP; empty: none.
    std::string storageCertificate = {};

    bool isGiven() const { return required || !keyFile.empty(); }
};

/// Every setting of the service, at first with its built-in value. A value; the handlers are shared
/// with whoever holds a copy.
struct ConfigurationSettings {
    std::string requestsEndpoint = "ipc:///tmp/requests";
    std::string eventsEndpoint = "ipc:///tmp/events";
    std::string resourcesEndpoint = "ipc:///tmp/resource";
    TcpPortRanges tcpPortRanges;
    std::string workflowLauncher =
        "/opt/halden/halden-tarn-workflow-launcher/bin/tarnWorkflowLauncher";
    std::string engineLauncher = "/opt/halden/halden-tarn-engine-launcher/bin/tarnEngineLauncher";
    std::vector<std::string> plugins;
    std::vector<std::shared_ptr<LoopStorageConfigurationHandler>> loopStorages;
    std::vector<std::shared_ptr<DeltacastServiceConfigurationHandler>> deltacastServices;
    std::vector<TarnDevice> devices;
    std::string persistentJobsFolder = "/usr/share/TarnJobs";
    std::string persistentDeltacastConfigurationFile;
    JobCellSettings jobCell;
    socket::Limits limits;
    SecuritySettings security;

    /// Back to the built-in values; no plug-ins, ranges, devices and loop storages. The Deltacast
    /// services and the persistent Deltacast configuration file are kept, on purpose.
    void reset();
};

/// The plug-ins of a service without a configuration file, in loading order.
const std::vector<std::string>& defaultPlugins();

}  // namespace tarn::service::configuration
