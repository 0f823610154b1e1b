#include "platform/program/TcpAccessOptions.h"

#include <CLI/CLI.hpp>

#include "platform/access/TcpAccess.h"
#include "platform/keys/SecretKeyFile.h"

namespace tarn::program {

namespace {

std::string checkKey(const std::string& text) {
    try {
        keys::readPublicKey(text);
        return "";
    } catch (const keys::KeyFileError& reason) {
        return reason.what();
    }
}

}  // namespace

void addTcpAccess(CLI::App& app, access::TcpAccessSettings& settings) {
    auto* const key = app.add_option("--key-file", settings.keyFile,
                                     "This machine's secret key, for connections over TCP");
    auto* const clients = app.add_option("--client-keys", settings.clientKeys,
                                         "The file with the keys of who may connect over TCP");
    key->needs(clients);
    clients->needs(key);
    app.add_flag("--require-keys", settings.required,
                 "Without keys, uses TCP within this machine only");
    app.add_option_function<std::string>(
           "--server-key",
           [&settings](const std::string& text) { settings.serverKey = keys::readPublicKey(text); },
           "The service's public key, or the file with it; unless given, this machine's own")
        ->needs(key)
        ->check(checkKey);
}

}  // namespace tarn::program
