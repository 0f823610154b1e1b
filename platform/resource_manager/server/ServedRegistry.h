#pragma once

#include <memory>
#include <string>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::resource_manager {

class Registry;

/// While it lives, proxies of this process find the registry of an endpoint here and need not ask
/// for it over a socket. Any thread.
class ServedRegistry {
  public:
    ServedRegistry(const tarn::socket::SocketEndpoint& endpoint,
                   std::shared_ptr<Registry> registry);
    ~ServedRegistry();
    ServedRegistry(const ServedRegistry&) = delete;
    ServedRegistry& operator=(const ServedRegistry&) = delete;

    /// Null when this process does not serve the endpoint. Host "*" and "localhost" are the same.
    static std::shared_ptr<Registry> find(const tarn::socket::SocketEndpoint& endpoint);

  private:
    const std::string key;
};

}  // namespace tarn::resource_manager
