#include "platform/access/ClientCertificates.h"

#include <utility>

namespace tarn::access {

ClientCertificates::ClientCertificates(std::string path)
    : file(std::move(path), "Client certificates") {
    *clients.lock() = read().value_or(Clients());
}

// Nothing where that says nothing about the file.
std::optional<ClientCertificates::Clients> ClientCertificates::read() {
    const auto text = file.read();
    if (!text) {
        return std::nullopt;
    }
    const auto list = parseClientCertificates(*text);
    file.logProblems(list.problems);
    Clients found;
    for (const auto& client : list.clients) {
        found.emplace(client.fingerprint, client);
    }
    return found;
}

std::optional<ClientCertificate> ClientCertificates::find(const std::string& fingerprint) const {
    auto locked = clients.lock();
    const auto known = locked->find(fingerprint);
    return known == locked->end() ? std::nullopt : std::optional(known->second);
}

bool ClientCertificates::refresh() {
    if (!file.hasChanged()) {
        return false;
    }
    auto fresh = read();
    if (!fresh) {
        return false;
    }
    *clients.lock() = std::move(*fresh);
    return true;
}

}  // namespace tarn::access
