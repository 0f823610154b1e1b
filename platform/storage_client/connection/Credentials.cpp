#include "platform/storage_client/connection/Credentials.h"

#include <cstdlib>
#include <string_view>

#include "platform/keys/Fingerprint.h"
#include "platform/keys/KeyLines.h"
#include "platform/os/SmallFile.h"
#include "platform/storage_client/connection/Failure.h"

namespace tarn::storage_client {

namespace {

constexpr std::size_t largestServerFile = std::size_t{1} << 20U;

[[noreturn]] void refuse(const std::string& reason) {
    throw Failure(TARN_STORAGE_ERROR_ARGUMENT, reason);
}

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

// Empty where the file does not name the server. Read each time: it is small, and may change.
std::string fingerprintInFile(const std::string& file, std::string_view server) {
    const auto content = os::readBeginning(file, largestServerFile);
    if (!content) {
        refuse("The loop storages' fingerprints cannot be read: " + file);
    }
    for (const auto& line : keys::linesOf(*content)) {
        if (line.words.size() == 2 && line.words[0] == server) {
            const auto fingerprint = keys::fingerprintIn(line.words[1]);
            if (!fingerprint) {
                refuse(file + " line " + std::to_string(line.number) +
                       ": it has no fingerprint of 64 digits");
            }
            return *fingerprint;
        }
    }
    return {};
}

}  // namespace

std::string nameOfServer(const std::string& host, std::uint16_t port) {
    const bool isIpv6 = host.find(':') != std::string::npos;
    return (isIpv6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

Credentials& Credentials::OfProcess() {
    static auto& credentials = [&]() -> Credentials& {
        auto& made = *new Credentials;  // threads may still connect at the end of the process
        made.useCertificate(variable("TARN_STORAGE_CERTIFICATE"));
        made.knowServersOf(variable("TARN_STORAGE_SERVERS"));
        return made;
    }();
    return credentials;
}

void Credentials::useCertificate(const std::string& file) {
    const std::lock_guard lock(mutex);
    certificateFile = file;
}

void Credentials::knowServer(const std::string& host, std::uint16_t port,
                             const std::string& fingerprint) {
    const auto plain = keys::fingerprintIn(fingerprint);
    if (!plain) {
        refuse("A fingerprint has 64 hexadecimal digits");
    }
    const std::lock_guard lock(mutex);
    servers[nameOfServer(host, port)] = *plain;
}

void Credentials::knowServersOf(const std::string& fingerprintOrFile) {
    const std::lock_guard lock(mutex);
    others = fingerprintOrFile;
}

std::string Credentials::fingerprintOf(const std::string& server) const {
    if (const auto known = servers.find(server); known != servers.end()) {
        return known->second;
    }
    if (const auto ofAll = keys::fingerprintIn(others)) {
        return *ofAll;
    }
    return others.empty() ? "" : fingerprintInFile(others, server);
}

std::optional<Protection> Credentials::find(const std::string& host, std::uint16_t port) const {
    const std::lock_guard lock(mutex);
    if (certificateFile.empty() && servers.empty() && others.empty()) {
        return std::nullopt;
    }
    const auto name = nameOfServer(host, port);
    const auto fingerprint = fingerprintOf(name);
    if (fingerprint.empty()) {
        refuse("Not connected to " + name +
               ": there is a certificate for loop storages, but the fingerprint of this one is not "
               "known");
    }
    if (certificateFile.empty()) {
        refuse("Not connected to " + name +
               ": its fingerprint is known, but there is no certificate to show it");
    }
    return Protection{certificateFile, fingerprint};
}

}  // namespace tarn::storage_client
