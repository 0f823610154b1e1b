#include "platform/access/TcpAccess.h"

#include <stdexcept>
#include <utility>

#include "platform/access/ClientKeys.h"
#include "platform/keys/SecretKeyFile.h"
#include "platform/socket/TcpProtection.h"
#include "platform/utils/Log.h"

namespace tarn::access {

namespace {

void addKeys(socket::TcpSecurity& security, const TcpAccessSettings& settings) {
    if (settings.clientKeys.empty()) {
        throw std::runtime_error("there is a key (" + settings.keyFile +
                                 "), but no file with the keys of clients");
    }
    security.own = keys::readSecretKeyFile(settings.keyFile);
    security.serverKey = settings.serverKey;
    security.serverKeys = settings.serverKeys;
    auto clients = std::make_shared<ClientKeys>(settings.clientKeys, security.own->publicKey);
    useClientKeys(clients);
    security.clients = std::move(clients);
}

}  // namespace

TcpAccess::TcpAccess(const TcpAccessSettings& settings) {
    using Plain = socket::TcpSecurity::Plain;
    socket::TcpSecurity security;
    security.plain = settings.required ? Plain::WithinThisMachine : Plain::Anywhere;
    if (settings.hasKeys()) {
        addKeys(security, settings);
    }
    protection = std::make_unique<socket::TcpProtection>(std::move(security));
    protection->protectProcess();
}

TcpAccess::~TcpAccess() = default;

void checkReach(const TcpAccessSettings& settings, const socket::SocketEndpoint& endpoint) {
    if (settings.hasKeys() || !socket::isBeyondThisMachine(endpoint)) {
        return;
    }
    if (settings.required) {
        throw std::runtime_error(socket::refusalOfPlain(endpoint));
    }
    utils::logWarning(socket::warningOfPlain(endpoint));
}

}  // namespace tarn::access
