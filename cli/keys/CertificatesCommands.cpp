#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/CommandError.h"
#include "cli/commands/Commands.h"
#include "cli/keys/ClientKeyFile.h"
#include "cli/output/Output.h"
#include "platform/access/ClientCertificates.h"
#include "platform/access/ClientKeys.h"
#include "platform/keys/Fingerprint.h"
#include "platform/keys/PrivateFile.h"
#include "platform/os/FileReplacement.h"
#include "platform/tls/CertificateProgram.h"

namespace tarn::cli {

namespace {

constexpr auto defaultClients = "/etc/tarn/storage-clients";
constexpr unsigned longestDays = 36'500;

struct CertificateOptions {
    std::string file;
    std::string name = "tarn";
    unsigned days = 3650;
};

struct CertifiedClientOptions {
    std::string file = defaultClients;
    std::string name;
    std::string fingerprint;
    std::string level = "read";
    std::string tracks;
};

ExitStatus generateCertificate(const CertificateOptions& options, const Session& session) {
    const auto publicFile = options.file + ".fingerprint";
    tls::CertificateFacts key;
    try {
        key = tls::makeCertificateFile(options.file, options.name, options.days);
        os::FileReplacement(publicFile).commit(keys::fingerprintFileText(key.fingerprint));
    } catch (const std::runtime_error& failure) {
        throw CommandError(ExitStatus::Failed, failure.what());
    }
    return show(
        session,
        [&] {
            return nlohmann::ordered_json{{"file", options.file}, {"fingerprint", key.fingerprint}};
        },
        [&](Output& output) { output.line("fingerprint " + key.fingerprint); });
}

ExitStatus addCertifiedClient(const CertifiedClientOptions& options, const Session& session) {
    try {
        const access::ClientCertificate entry{
            .level = access::levelNamed(options.level).value_or(access::Level::None),
            .fingerprint = keys::readFingerprint(options.fingerprint),
            .name = options.name,
            .tracksText = options.tracks};
        changeClientKeyFile(options.file, [&](const std::string& text) {
            return access::withClientCertificate(text, entry);
        });
    } catch (const keys::KeyFileError& failure) {
        throw CommandError(ExitStatus::Failed, failure.what());
    }
    return show(
        session,
        [&] {
            return nlohmann::ordered_json{
                {"name", options.name}, {"level", options.level}, {"tracks", options.tracks}};
        },
        [&](Output& output) {
            output.line(options.name + " has " + options.level +
                        (options.tracks.empty() ? "" : " at " + options.tracks));
        });
}

ExitStatus removeCertifiedClient(const CertifiedClientOptions& options, const Session& session) {
    changeClientKeyFile(options.file, [&](const std::string& text) {
        return access::withoutClientCertificate(text, options.name);
    });
    return show(
        session,
        [&] {
            return nlohmann::ordered_json{{"removed", options.name}};
        },
        [&](Output& output) { output.line(options.name + " is removed"); });
}

nlohmann::ordered_json documentOfCertificates(const access::ClientCertificateList& list) {
    auto clients = nlohmann::ordered_json::array();
    for (const auto& one : list.clients) {
        clients.push_back({{"name", one.name},
                           {"level", access::nameOf(one.level)},
                           {"fingerprint", one.fingerprint},
                           {"tracks", one.tracksText}});
    }
    return {{"clients", std::move(clients)}, {"problems", list.problems}};
}

ExitStatus listCertifiedClients(const CertifiedClientOptions& options, const Session& session) {
    const auto list = access::parseClientCertificates(readClientKeyFile(options.file));
    show(
        session, [&] { return documentOfCertificates(list); },
        [&](Output& output) {
            for (const auto& one : list.clients) {
                output.line(std::string(access::nameOf(one.level)) + " " + one.fingerprint + " " +
                            one.name + (one.tracksText.empty() ? "" : " " + one.tracksText));
            }
        });
    for (const auto& problem : list.problems) {
        session.output.notice(options.file + " " + problem);
    }
    return list.problems.empty() ? ExitStatus::Done : ExitStatus::Failed;
}

void addCertificateOptions(CLI::App& line, CertificateOptions& options) {
    line.add_option("FILE", options.file,
                    "The file of the secret key with its certificate; FILE.fingerprint is what "
                    "others know it by")
        ->required();
    line.add_option("--name", options.name, "What the certificate calls its owner, for people")
        ->check([](const std::string& name) -> std::string {
            return access::isClientName(name) ? ""
                                              : "a name has 1 to 64 letters, digits, and \"._@-\"";
        })
        ->capture_default_str();
    line.add_option("--days", options.days, "So long it counts")
        ->check(CLI::Range(1U, longestDays))
        ->capture_default_str();
}

void addCertificateFile(CLI::App& line, CertifiedClientOptions& options) {
    line.add_option("--file", options.file, "The file with the certificates of clients")
        ->capture_default_str();
}

void addCertifiedClientOptions(CLI::App& line, CertifiedClientOptions& options) {
    line.add_option("NAME", options.name, "What the client is called")->required();
    line.add_option("FINGERPRINT", options.fingerprint,
                    "That of its certificate, or the file with it")
        ->required();
    line.add_option("--level", options.level, "What it may do")
        ->check(CLI::IsMember({"read", "operate", "admin"}))
        ->capture_default_str();
    line.add_option("--tracks", options.tracks,
                    "The tracks that it may use: \"3:read,7:write,*:read\", where * is every other "
                    "one; unless given, all");
    addCertificateFile(line, options);
}

void addCertifiedRemoveOptions(CLI::App& line, CertifiedClientOptions& options) {
    line.add_option("NAME", options.name, "The client's name, or its fingerprint")->required();
    addCertificateFile(line, options);
}

}  // namespace

Command certificatesFamily() {
    return {.name = "certificates",
            .purpose = "Make certificates for loop storages over TCP, and say whose are let in",
            .footer =
                "Asks no service: works on files of this machine.\n"
                "Example:\n"
                "  tarnctl certificates add studio-1 studio-1.fingerprint --level operate"};
}

Command certificatesGenerateCommand() {
    return {.name = "generate",
            .purpose = "Make a key with its certificate, and show the fingerprint",
            .footer =
                "The secret key is shown nowhere, and a file that is there is never replaced.\n"
                "Example:\n"
                "  tarnctl certificates generate /etc/tarn/storage.pem --name storage-1",
            .prepare = with(addCertificateOptions, generateCertificate)};
}

Command certificatesAddCommand() {
    return {.name = "add",
            .purpose = "Let a client in",
            .footer =
                "A loop storage that runs takes it over at once.\n"
                "Example:\n"
                "  tarnctl certificates add van-3 van-3.fingerprint --level operate --tracks "
                "0:read,7:write",
            .prepare = with(addCertifiedClientOptions, addCertifiedClient)};
}

Command certificatesListCommand() {
    return {.name = "list",
            .purpose = "Show who is let in, with which level and tracks",
            .footer =
                "The exit status is 1 if a line of the file gives nobody anything.\n"
                "Example:\n"
                "  tarnctl certificates list --json",
            .prepare = with(addCertificateFile, listCertifiedClients)};
}

Command certificatesRemoveCommand() {
    return {.name = "remove",
            .purpose = "Let a client in no more",
            .footer =
                "Its connections are ended at once.\n"
                "Example:\n"
                "  tarnctl certificates remove van-3",
            .prepare = with(addCertifiedRemoveOptions, removeCertifiedClient)};
}

}  // namespace tarn::cli
