#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/keys/KeyPair.h"
#include "platform/socket/KeyPolicy.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::socket {

/// What protects TCP connections. With keys, every connection is encrypted and both sides prove who
/// they are (CURVE); without, it is plain.
struct TcpSecurity {
    /// Where TCP is used without keys.
    enum class Plain {
        Anywhere,
        WithinThisMachine,  ///< endpoints that reach beyond it are refused
    };

    Plain plain = Plain::Anywhere;
    std::optional<keys::KeyPair> own = {};  ///< of this process, whichever side it is on

    /// The public key of whom is connected to; empty: that is this process's own, as programs of
    /// one machine share it.
    std::string serverKey = {};
    /// The same for some endpoints ("tcp://host:port"), where it is another one.
    std::map<std::string, std::string> serverKeys = {};

    /// Who may connect beside who has the own key; null: nobody.
    std::shared_ptr<KeyPolicy> clients = {};
};

/// Protects sockets while it lives. With keys and clients it has a thread of its own, which answers
/// the messaging library's questions about who connects, and ends the connections of those whose
/// key is admitted no more; its destructor ends it. There is one such in a process at a time.
/// Sockets that it protects may outlive it: then they let nobody in any more.
class TcpProtection {
  public:
    struct State;

    /// Throws std::runtime_error.
    explicit TcpProtection(TcpSecurity security);
    ~TcpProtection();
    TcpProtection(const TcpProtection&) = delete;
    TcpProtection& operator=(const TcpProtection&) = delete;

    /// From now on, while this lives, the TCP endpoints that the process opens are protected, but
    /// for sockets that are told of another protection (Socket::protectBy).
    void protectProcess();

    const std::shared_ptr<State>& state() const { return shared; }

    /// What protects the process's sockets; null: nothing.
    static std::shared_ptr<State> OfProcess();

  private:
    class Authentication;

    const std::shared_ptr<State> shared;
    std::unique_ptr<Authentication> authentication;
};

/// Whether others than this machine can reach the endpoint, or are reached there: TCP, unless it is
/// the loopback interface. A name that is not "localhost" is taken for another machine's.
bool isBeyondThisMachine(const SocketEndpoint& endpoint);

/// Why an endpoint that reaches beyond this machine must not be used without keys, or what it means
/// to do so.
std::string refusalOfPlain(const SocketEndpoint& endpoint);
std::string warningOfPlain(const SocketEndpoint& endpoint);

}  // namespace tarn::socket
