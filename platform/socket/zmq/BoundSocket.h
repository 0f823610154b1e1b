#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>

#include "platform/socket/IpcFile.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/socket/zmq/Origin.h"
#include "platform/socket/zmq/SocketSettings.h"

namespace tarn::socket {

/// A socket that is bound to any number of endpoints. When it is destroyed they are free again:
/// somebody else can listen there at once. One thread at a time.
class BoundSocket {
  public:
    explicit BoundSocket(const SocketSettings& settings);
    ~BoundSocket();
    BoundSocket(const BoundSocket&) = delete;
    BoundSocket& operator=(const BoundSocket&) = delete;

    /// Throws std::runtime_error, and listens on what it listened on before.
    void add(const SocketEndpoint& endpoint);

    /// Ends the connections that were made to it, too; what they brought and nobody has received
    /// yet may be lost. Does nothing when it is not one of the endpoints.
    void remove(const SocketEndpoint& endpoint);

    /// Nothing when it is bound to endpoints of several, or to none.
    std::optional<Transport> onlyTransport() const;

    /// To be told of who sent what was received: how his connection is known again.
    void noteSender(const Origin& origin);

    ZmqSocket& socket() { return *bound; }
    /// The endpoints, for logs; empty when there are none.
    std::string describe(Protocol protocol) const;

  private:
    struct Bound {
        SocketEndpoint endpoint;
        std::string address;  // as the library has it
        std::optional<IpcFile> file = {};
    };

    std::string bind(const SocketEndpoint& endpoint);
    std::string bindIpc(const std::string& address);
    void unbind(const std::list<Bound>& those);
    void unbindInProcessName(const Bound& name);
    void unbindAddresses(const std::list<Bound>& those);

    const Audience audience;
    const Entrance entrance;
    const std::shared_ptr<TcpProtection::State> protection;  // may be null
    const std::unique_ptr<ZmqSocket> bound;
    std::list<Bound> all;
};

}  // namespace tarn::socket
