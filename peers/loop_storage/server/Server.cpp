#include "peers/loop_storage/server/Server.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <chrono>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "peers/loop_storage/server/NetworkThreads.h"
#include "peers/loop_storage/server/Session.h"
#include "platform/socket/DescriptorReserve.h"
#include "platform/socket/IpcListener.h"
#include "platform/socket/IpcPathClaim.h"
#include "platform/storage_wire/PeerTimeOut.h"
#include "platform/utils/Log.h"

namespace tarn::peers::loop_storage {

namespace {

namespace asio = boost::asio;

constexpr std::size_t goneWithoutDescriptors = 16;
constexpr std::size_t descriptorsOfWorker = 4;  // at most: shared memory, and the track's files
constexpr auto pauseWithoutDescriptors = std::chrono::milliseconds(100);

[[noreturn]] void failListen(const std::string& address, const std::string& reason) {
    throw std::runtime_error("Cannot listen on " + address + ": " + reason);
}

void checkReach(const asio::ip::tcp::endpoint& endpoint, const std::string& name,
                Server::Reach reach) {
    if (endpoint.address().is_loopback()) {
        return;
    }
    if (reach == Server::Reach::WithinThisMachine) {
        failListen(name,
                   "it reaches beyond this machine, and keys are required, which there are "
                   "none of here");
    }
    utils::logWarning(name +
                      " reaches beyond this machine without encryption, and whoever reaches it may "
                      "do everything with every track");
}

std::string textOf(const asio::ip::tcp::endpoint& endpoint) {
    const auto host = endpoint.address().to_string();
    return (endpoint.address().is_v6() ? "[" + host + "]" : host) + ":" +
           std::to_string(endpoint.port());
}

template <typename Socket>
constexpr bool isTcp = std::is_same_v<typename Socket::protocol_type, asio::ip::tcp>;

template <typename Socket>
ClientIdentity identityOf(Socket& socket) {
    return isTcp<Socket> ? ClientIdentity::Anybody()
                         : ClientIdentity::OfUser(os::peerUserOf(socket.native_handle()));
}

template <typename Socket>
void prepare(Socket& socket, const SessionLimits& limits) {
    if constexpr (isTcp<Socket>) {
        boost::system::error_code ignored;
        socket.set_option(asio::ip::tcp::no_delay(true), ignored);
        storage_wire::endWithoutPeer(socket.native_handle(), limits.patience);
    }
}

}  // namespace

Server::Server(Storage& storage, const SessionLimits& limits, int stopDescriptor)
    : storage(storage),
      limits(limits),
      stopInput(context, stopDescriptor),
      clients(limits.clients) {
    stopInput.async_wait(asio::posix::descriptor_base::wait_read, [this](const auto& error) {
        if (!error) {
            stop();
        }
    });
}

Server::~Server() {
    stopInput.release();  // it stays the caller's
    if (localFile) {
        localFile->remove();
    }
}

std::string Server::listenTcp(const std::string& address, std::uint16_t port, Reach reach) {
    const auto name = address + ":" + std::to_string(port);
    try {
        const asio::ip::tcp::endpoint endpoint(asio::ip::make_address(address), port);
        if (!entrance) {
            checkReach(endpoint, name, reach);
        }
        tcp.emplace(asio::make_strand(context), endpoint);
        return textOf(tcp->local_endpoint());
    } catch (const boost::system::system_error& error) {
        failListen(name, error.code().message());
    }
}

void Server::listenUnix(const std::string& path) {
    if (path.empty() || path.size() >= sizeof(sockaddr_un::sun_path)) {
        failListen(path, "a socket's path has 1 to " +
                             std::to_string(sizeof(sockaddr_un::sun_path) - 1) + " bytes");
    }
    try {
        const socket::IpcPathClaim claim(path);
        const auto listener = socket::listenOnIpcPath(path, socket::Audience::Clients, SOMAXCONN);
        localFile.emplace(path);
        local.emplace(asio::make_strand(context), asio::local::stream_protocol(),
                      ::fcntl(listener.get(), F_DUPFD_CLOEXEC, 0));
    } catch (const boost::system::system_error& error) {
        failListen(path, error.code().message());
    } catch (const std::runtime_error& error) {
        failListen(path, error.what());
    }
}

void Server::run() {
    if (tcp) {
        accept(*tcp);
    }
    if (local) {
        accept(*local);
    }
    NetworkThreads(context, NetworkThreads::Limits{}).run();
}

template <typename Acceptor>
void Server::accept(Acceptor& acceptor) {
    acceptor.async_accept(
        asio::make_strand(context), [this, &acceptor](const auto& error, auto socket) {
            if (error == asio::error::operation_aborted) {
                return;
            }
            if (error) {
                refusals.lock()->log("A client cannot be accepted: " + error.message());
                clients.makeRoom(goneWithoutDescriptors, Presence::Standing::Asking);
                acceptLater(acceptor);
                return;
            }
            try {
                add(std::move(socket));
            } catch (const std::exception& failure) {
                utils::logError(std::string("A client cannot be served: ") + failure.what());
            }
            accept(acceptor);
        });
}

template <typename Acceptor>
void Server::acceptLater(Acceptor& acceptor) {
    const auto timer =
        std::make_shared<asio::steady_timer>(acceptor.get_executor(), pauseWithoutDescriptors);
    timer->async_wait([this, &acceptor, timer](const auto&) {
        if (acceptor.is_open()) {
            accept(acceptor);
        }
    });
}

void Server::protectTcp(const tls::CertifiedKey& own, const std::string& clientCertificates) {
    entrance.emplace(
        own, clientCertificates,
        [this](const CertifiedEntrance& by, ClientStream stream,
               const access::ClientCertificate& certificate) {
            addEncrypted(by, std::move(stream), certificate);
        },
        [this](const CertifiedEntrance& by) { endWhoMayNotStay(by); });
}

template <typename Socket>
void Server::add(Socket socket) {
    prepare(socket, limits);
    if constexpr (isTcp<Socket>) {
        if (entrance) {
            entrance->begin(Session::Socket(std::move(socket)));
            return;
        }
    }
    auto identity = identityOf(socket);
    serve(Session::Socket(std::move(socket)), std::move(identity),
          {.via = isTcp<Socket> ? Clients::Via::Tcp : Clients::Via::Unix,
           .presence = {},
           .close = {}});
}

// The list may have changed since it was asked, and then nobody has found him among the clients.
void Server::addEncrypted(const CertifiedEntrance& by, ClientStream stream,
                          const access::ClientCertificate& certificate) {
    if (serve(
            std::move(stream), ClientIdentity::OfCertificate(certificate),
            {.via = Clients::Via::Tcp, .presence = {}, .close = {}, .certificate = certificate}) &&
        !by.mayStay(certificate)) {
        endWhoMayNotStay(by);
    }
}

bool Server::serve(ClientStream stream, ClientIdentity identity, Clients::Client client) {
    const auto descriptors = socket::DescriptorReserve::Holds(stream.socket().native_handle())
                                 ? Clients::Descriptors::Scarce
                                 : Clients::Descriptors::Enough;
    const auto id = clients.nextId();
    const auto session =
        std::make_shared<Session>(std::move(stream), std::move(identity), gate, storage, limits,
                                  [this, id] { clients.remove(id); });
    session->askForRoomBy(
        [this] { return clients.makeRoom(descriptorsOfWorker, Presence::Standing::Idle) > 0; });
    client.presence = session->presence();
    client.close = [session] { session->close(); };
    if (!clients.add(id, std::move(client), descriptors)) {
        refusals.lock()->log("A client is sent away: " + std::to_string(limits.clients) +
                             " are served already");
        return false;
    }
    session->start();
    return true;
}

void Server::endWhoMayNotStay(const CertifiedEntrance& by) {
    const auto ended =
        clients.endUnless([&by](const auto& certificate) { return by.mayStay(certificate); });
    utils::logInfo("Client certificates have changed: " + std::to_string(ended) +
                   " connections ended, which are made again by whom may connect");
}

void Server::stop() {
    utils::logInfo("Stopping");
    const auto close = [](auto& acceptor) {
        if (acceptor) {
            asio::post(acceptor->get_executor(), [&acceptor] {
                boost::system::error_code ignored;
                acceptor->close(ignored);
            });
        }
    };
    close(tcp);
    close(local);
    if (entrance) {
        entrance->stop();
    }
    clients.closeAll();
}

}  // namespace tarn::peers::loop_storage
