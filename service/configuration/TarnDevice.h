#pragma once

#include <cstdint>
#include <string>

namespace tarn::service::configuration {

/// DPDK is known to the configuration report; no element of the file yields it.
enum class TarnDeviceType : std::int32_t { GENERIC = 0, DELTACAST = 1, DPDK = 2 };

/// A device that speaks the monitoring protocol.
struct TarnDevice {
    TarnDeviceType type = TarnDeviceType::GENERIC;
    std::string monitoringInterface;  ///< Endpoint text of the device's monitoring socket.
};

}  // namespace tarn::service::configuration
