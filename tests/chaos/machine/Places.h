#pragma once

#include <cstdint>
#include <string>

#include "service/devices/storage/StorageConnection.h"

namespace tarn::chaos {

enum class Transport { Ipc, Tcp };

/// Where everybody listens on the private machine.
struct Places {
    Transport transport = Transport::Ipc;
    std::string requests;
    std::string resources;
    std::string events;
    std::string published;
    std::string largeDevice;
    std::string largeDeviceEvents;
    std::string monitor;
    std::string monitorEvents;
    std::string odd;
    std::string oddEvents;
    service::devices::StorageAddress storage;
    std::string ingest = {};        ///< empty: the machine has no ingest service
    std::string ingestEvents = {};  ///< likewise

    static Places over(Transport transport);

    /// The same on a machine that has an ingest service, which the service starts.
    Places withIngest() const;

    /// On which the storage listens at every address of the machine, whatever the transport.
    static constexpr std::uint16_t tcpPort = 20300;

    /// The sections of a configuration that says so.
    std::string configuration() const;

  private:
    std::string ingestConfiguration() const;

  public:
    /// As the storage's elements and its program are told.
    std::string storageLocation() const;
    std::string storageListener() const;
};

}  // namespace tarn::chaos
