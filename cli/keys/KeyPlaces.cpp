#include "cli/keys/KeyPlaces.h"

#include <unistd.h>

#include <cstdlib>

#include "cli/CommandError.h"
#include "platform/keys/SecretKeyFile.h"
#include "platform/socket/TcpProtection.h"

namespace tarn::cli {

namespace {

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::string configurationFolder() {
    if (auto folder = variable("XDG_CONFIG_HOME"); folder.starts_with('/')) {
        return folder;
    }
    const auto home = variable("HOME");
    return home.starts_with('/') ? home + "/.config" : "";
}

std::string below(const std::string& folder, const char* name) {
    return folder.empty() ? "" : folder + "/tarn/" + name;
}

void fillFrom(std::string& choice, const char* name) {
    if (choice.empty()) {
        choice = variable(name);
    }
}

void fillIfThere(std::string& choice, const std::string& path) {
    if (choice.empty() && !path.empty() && ::access(path.c_str(), F_OK) == 0) {
        choice = path;
    }
}

}  // namespace

std::string defaultKeyFile() {
    return below(configurationFolder(), "key");
}

std::string defaultServerKeyFile() {
    return below(configurationFolder(), "server-key");
}

std::unique_ptr<socket::TcpProtection> protectConnections(KeyChoice choice) {
    fillFrom(choice.keyFile, "TARN_KEY");
    fillFrom(choice.serverKey, "TARN_SERVER_KEY");
    const bool isNamed = !choice.keyFile.empty() || !choice.serverKey.empty();
    fillIfThere(choice.keyFile, defaultKeyFile());
    fillIfThere(choice.serverKey, defaultServerKeyFile());
    if (choice.keyFile.empty() || choice.serverKey.empty()) {
        if (isNamed) {
            throw CommandError(ExitStatus::Usage,
                               "a key and the server's key belong together: --key, --server-key");
        }
        return nullptr;
    }
    try {
        auto protection = std::make_unique<socket::TcpProtection>(
            socket::TcpSecurity{.own = keys::readSecretKeyFile(choice.keyFile),
                                .serverKey = keys::readPublicKey(choice.serverKey)});
        protection->protectProcess();
        return protection;
    } catch (const keys::KeyFileError& failure) {
        throw CommandError(ExitStatus::Failed, failure.what());
    }
}

}  // namespace tarn::cli
