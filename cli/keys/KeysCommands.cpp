#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <system_error>

#include "cli/CommandError.h"
#include "cli/commands/Commands.h"
#include "cli/keys/ClientKeyFile.h"
#include "cli/keys/KeyPlaces.h"
#include "cli/output/Output.h"
#include "platform/access/ClientKeyText.h"
#include "platform/keys/SecretKeyFile.h"
#include "platform/os/FileReplacement.h"

namespace tarn::cli {

namespace {

constexpr auto defaultClientKeys = "/etc/tarn/client-keys";

struct GenerateOptions {
    std::string file = defaultKeyFile();
};

struct ClientOptions {
    std::string file = defaultClientKeys;
    std::string name;
    std::string key;
    std::string level = "read";
};

// Only for who asks for the default place: a folder that was named wrongly is not to be made.
void makeDefaultFolder(const std::string& file) {
    if (file == defaultKeyFile()) {
        std::error_code ignored;  // what is missing then is told when the file is written
        const auto folder = std::filesystem::path(file).parent_path();
        std::filesystem::create_directories(folder.parent_path(), ignored);
        ::mkdir(folder.c_str(), S_IRWXU);
    }
}

ExitStatus generate(const GenerateOptions& options, const Session& session) {
    if (options.file.empty()) {
        throw CommandError(ExitStatus::Usage, "there is no home folder: name a FILE");
    }
    makeDefaultFolder(options.file);
    const auto keys = keys::generateKeyPair();
    try {
        keys::writeSecretKeyFile(options.file, keys);
        os::FileReplacement(options.file + ".pub").commit(keys::publicKeyFileText(keys.publicKey));
    } catch (const std::runtime_error& failure) {
        throw CommandError(ExitStatus::Failed, failure.what());
    }
    return show(
        session,
        [&] {
            return nlohmann::ordered_json{{"file", options.file}, {"public", keys.publicKey}};
        },
        [&](Output& output) { output.line("public " + keys.publicKey); });
}

ExitStatus addClient(const ClientOptions& options, const Session& session) {
    try {
        const access::ClientKey entry{
            .level = access::levelNamed(options.level).value_or(access::Level::None),
            .key = keys::readPublicKey(options.key),
            .name = options.name};
        changeClientKeyFile(options.file, [&](const std::string& text) {
            return access::withClientKey(text, entry);
        });
    } catch (const keys::KeyFileError& failure) {
        throw CommandError(ExitStatus::Failed, failure.what());
    }
    return show(
        session,
        [&] {
            return nlohmann::ordered_json{{"name", options.name}, {"level", options.level}};
        },
        [&](Output& output) { output.line(options.name + " has " + options.level); });
}

ExitStatus removeClient(const ClientOptions& options, const Session& session) {
    changeClientKeyFile(options.file, [&](const std::string& text) {
        return access::withoutClientKey(text, options.name);
    });
    return show(
        session,
        [&] {
            return nlohmann::ordered_json{{"removed", options.name}};
        },
        [&](Output& output) { output.line(options.name + " is removed"); });
}

nlohmann::ordered_json documentOf(const access::ClientKeyList& list) {
    auto clients = nlohmann::ordered_json::array();
    for (const auto& one : list.keys) {
        clients.push_back(
            {{"name", one.name}, {"level", access::nameOf(one.level)}, {"key", one.key}});
    }
    return {{"clients", std::move(clients)}, {"problems", list.problems}};
}

ExitStatus listClients(const ClientOptions& options, const Session& session) {
    const auto list = access::parseClientKeys(readClientKeyFile(options.file));
    show(
        session, [&] { return documentOf(list); },
        [&](Output& output) {
            for (const auto& one : list.keys) {
                output.line(std::string(access::nameOf(one.level)) + " " + one.key + " " +
                            one.name);
            }
        });
    for (const auto& problem : list.problems) {
        session.output.notice(options.file + " " + problem);
    }
    return list.problems.empty() ? ExitStatus::Done : ExitStatus::Failed;
}

void addGenerateOptions(CLI::App& line, GenerateOptions& options) {
    line.add_option("FILE", options.file, "The file of the secret key; FILE.pub is the public one")
        ->capture_default_str();
}

void addFile(CLI::App& line, ClientOptions& options) {
    line.add_option("--file", options.file, "The file with the keys of clients")
        ->capture_default_str();
}

void addAddOptions(CLI::App& line, ClientOptions& options) {
    line.add_option("NAME", options.name, "What the client is called")->required();
    line.add_option("KEY", options.key, "Its public key, or the file with it")->required();
    line.add_option("--level", options.level, "What it may do")
        ->check(CLI::IsMember({"read", "operate", "admin"}))
        ->capture_default_str();
    addFile(line, options);
}

void addRemoveOptions(CLI::App& line, ClientOptions& options) {
    line.add_option("NAME", options.name, "The client's name, or its public key")->required();
    addFile(line, options);
}

}  // namespace

Command keysFamily() {
    return {.name = "keys",
            .purpose = "Make keys for connections over TCP, and say whose are let in",
            .footer =
                "Asks no service: works on files of this machine.\n"
                "Example:\n"
                "  tarnctl keys add studio-1 /media/stick/studio-1.pub --level operate"};
}

Command keysGenerateCommand() {
    return {.name = "generate",
            .purpose = "Make a key pair, and show the public key",
            .footer =
                "The secret key is shown nowhere, and a file that is there is never replaced.\n"
                "Example:\n"
                "  tarnctl keys generate /etc/tarn/server.key",
            .prepare = with(addGenerateOptions, generate)};
}

Command keysAddCommand() {
    return {.name = "add",
            .purpose = "Let a client in",
            .footer =
                "Programs that run take it over at once.\n"
                "Example:\n"
                "  tarnctl keys add studio-1 studio-1.pub --level operate",
            .prepare = with(addAddOptions, addClient)};
}

Command keysListCommand() {
    return {.name = "list",
            .purpose = "Show who is let in, and with which level",
            .footer =
                "The exit status is 1 if a line of the file gives nobody anything.\n"
                "Example:\n"
                "  tarnctl keys list --json",
            .prepare = with(addFile, listClients)};
}

Command keysRemoveCommand() {
    return {.name = "remove",
            .purpose = "Let a client in no more",
            .footer =
                "Its connections are ended at once.\n"
                "Example:\n"
                "  tarnctl keys remove studio-1",
            .prepare = with(addRemoveOptions, removeClient)};
}

}  // namespace tarn::cli
