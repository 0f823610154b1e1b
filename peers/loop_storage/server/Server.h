#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "peers/loop_storage/operations/Storage.h"
#include "peers/loop_storage/server/CertifiedEntrance.h"
#include "peers/loop_storage/server/Clients.h"
#include "peers/loop_storage/server/RequestGate.h"
#include "peers/loop_storage/server/SessionLimits.h"
#include "platform/socket/IpcFile.h"
#include "platform/utils/RepeatedFailure.h"
#include "platform/utils/Synchronised.h"

namespace tarn::peers::loop_storage {

/// Accepts clients until it is told to stop, and serves them on a few threads.
class Server {
  public:
    /// It ends once `stopDescriptor`, which is the caller's, can be read.
    Server(Storage& storage, const SessionLimits& limits, int stopDescriptor);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Clients over TCP have to show a certificate, which stands in a file. Before listenTcp.
    /// Throws std::runtime_error for a key that cannot be used.
    void protectTcp(const tls::CertifiedKey& own, const std::string& clientCertificates);

    /// Where clients over TCP may be where nobody has to say who he is.
    enum class Reach {
        Anywhere,           ///< an address that others than this machine reach is warned of
        WithinThisMachine,  ///< and here it is refused
    };

    /// The address as it is, with the port that was chosen for port 0. Throw std::runtime_error
    /// that names the address.
    std::string listenTcp(const std::string& address, std::uint16_t port,
                          Reach reach = Reach::Anywhere);
    /// The file is for the members of the group that the requests endpoint is for, too.
    void listenUnix(const std::string& path);

    /// Returns after it was told to stop, when every client is gone.
    void run();

  private:
    template <typename Acceptor>
    void accept(Acceptor& acceptor);
    template <typename Acceptor>
    void acceptLater(Acceptor& acceptor);
    template <typename Socket>
    void add(Socket socket);
    void addEncrypted(const CertifiedEntrance& by, ClientStream stream,
                      const access::ClientCertificate& certificate);
    bool serve(ClientStream stream, ClientIdentity identity, Clients::Client client);
    void endWhoMayNotStay(const CertifiedEntrance& by);
    void stop();

    Storage& storage;
    const SessionLimits limits;
    boost::asio::io_context context;
    boost::asio::posix::stream_descriptor stopInput;
    std::optional<boost::asio::ip::tcp::acceptor> tcp;
    std::optional<boost::asio::local::stream_protocol::acceptor> local;
    std::optional<socket::IpcFile> localFile;
    Clients clients;
    RequestGate gate;
    utils::Synchronised<utils::RepeatedFailure> refusals{
        utils::RepeatedFailure(utils::LogLevel::Warning)};
    std::optional<CertifiedEntrance> entrance;  // uses what is before it on a thread of its own
};

}  // namespace tarn::peers::loop_storage
