#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>

#include "cli/doctor/Checks.h"
#include "platform/access/ClientCertificates.h"
#include "platform/keys/PrivateFile.h"
#include "platform/os/SmallFile.h"
#include "platform/os/TrustedListener.h"
#include "platform/tls/CertificateProgram.h"

namespace tarn::cli {

namespace {

// Where the documents and tarnctl have them. The service's own the configuration names.
constexpr auto storageCertificate = "/etc/tarn/storage.pem";
constexpr auto storageClients = "/etc/tarn/storage-clients";
constexpr std::chrono::hours aDay{24};
constexpr int soonInDays = 30;

bool isThere(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

Finding unseen(const char* path) {
    return {Gravity::Unseen, std::string(path) + ": " + std::generic_category().message(errno),
            "ask as root"};
}

void checkEnd(tls::CertificateTime end, const Machine& machine, Findings& findings) {
    const auto left = end - machine.now();
    if (left < soonInDays * aDay) {
        findings.push_back(
            {left.count() <= 0 ? Gravity::Error : Gravity::Warning,
             std::string(storageCertificate) +
                 (left.count() <= 0 ? " has expired"
                                    : " expires in " + std::to_string(left / aDay) + " days"),
             "tarnctl certificates generate another one, tell the clients its fingerprint, then: "
             "systemctl restart halden-tarn-loop-storage"});
    }
}

void checkServer(const Machine& machine, Findings& findings) {
    const auto path = machine.at(storageCertificate).string();
    if (!isThere(path)) {
        return;
    }
    if (::access(path.c_str(), R_OK) != 0) {
        findings.push_back(unseen(storageCertificate));
        return;
    }
    try {
        checkEnd(tls::lookAtCertificateFile(path, std::string(os::storageUser)).end, machine,
                 findings);
    } catch (const keys::KeyFileError& failure) {
        findings.push_back({Gravity::Error, failure.what(),
                            "chown it to tarn-store, chmod 600, and look who may have read it"});
    }
}

void checkClients(const Machine& machine, Findings& findings) {
    const auto path = machine.at(storageClients).string();
    if (!isThere(path)) {
        return;
    }
    const auto content = os::readBeginning(path, access::largestListFile);
    if (!content) {
        findings.push_back(unseen(storageClients));
        return;
    }
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 && (info.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        findings.push_back({Gravity::Error,
                            std::string(storageClients) + ": others than its owner may change it",
                            std::string("chmod 644 ") + storageClients});
    }
    for (const auto& problem : access::parseClientCertificates(*content).problems) {
        findings.push_back({Gravity::Warning, std::string(storageClients) + " " + problem,
                            "correct that line: it gives nobody anything"});
    }
}

}  // namespace

Findings checkCertificates(const Machine& machine) {
    Findings findings;
    checkServer(machine, findings);
    checkClients(machine, findings);
    return findings;
}

}  // namespace tarn::cli
