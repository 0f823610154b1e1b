#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/socket/IpcFile.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/socket/SocketSettings.h"

namespace tarn::socket {

/// A socket that is bound to any number of endpoints. When it is destroyed they are free again:
/// somebody else can listen there at once. One thread at a time.
class Listening {
  public:
    explicit Listening(const SocketSettings& settings);
    ~Listening();
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

    /// Throws std::runtime_error, and listens on what it listened on before.
    void add(const SocketEndpoint& endpoint);

    ZmqSocket& socket() { return *bound; }
    const std::vector<SocketEndpoint>& endpoints() const { return all; }

  private:
    void bindIpc(const std::string& address);
    void unbindInProcessNames();
    void unbindAddresses();

    const std::unique_ptr<ZmqSocket> bound;
    std::vector<SocketEndpoint> all;
    std::vector<std::string>
        addresses;  // of those that are not in-process, as the library has them
    std::vector<IpcFile> files;
};

}  // namespace tarn::socket
