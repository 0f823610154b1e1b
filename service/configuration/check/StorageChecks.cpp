#include "service/configuration/check/StorageChecks.h"

#include <chrono>
#include <string>

#include "platform/keys/PrivateFile.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/socket/TcpProtection.h"
#include "platform/tls/CertificateProgram.h"
#include "service/configuration/LoopStorageConfigurationHandler.h"

namespace tarn::service::configuration {

namespace {

constexpr std::chrono::hours aDay{24};
constexpr int soonInDays = 30;

/// Empty when such a storage is reached as it should be.
std::string problemOfReach(const LoopStorageConfigurationHandler& storage,
                           const SecuritySettings& security) {
    const bool isProtected = !storage.getFingerprint().empty();
    const socket::SocketEndpoint endpoint(socket::Transport::Tcp, storage.getAddress(),
                                          storage.getPort());
    if (isProtected && security.storageCertificate.empty()) {
        return "it has a Fingerprint, but Security has no StorageCertificate: it is not connected "
               "to";
    }
    if (!isProtected && !security.storageCertificate.empty()) {
        return "Security has a StorageCertificate, but this storage no Fingerprint: it is not "
               "connected to";
    }
    return isProtected || !socket::isBeyondThisMachine(endpoint)
               ? ""
               : "it is beyond this machine, and without a Fingerprint the connection is not "
                 "encrypted";
}

}  // namespace

void checkStorageCertificate(const XmlNode& element, ProblemList& problems) {
    const auto path = elementContent(element).value_or("");
    try {
        const auto left = tls::lookAtCertificateFile(path).end - std::chrono::system_clock::now();
        const auto days = left / aDay;
        if (left.count() <= 0) {
            problems.add(element, ProblemSeverity::Error, path + ": its certificate has expired");
        } else if (days < soonInDays) {
            problems.add(element, ProblemSeverity::Warning,
                         path + ": its certificate expires in " + std::to_string(days) + " days");
        }
    } catch (const keys::KeyFileError& failure) {
        problems.add(element, ProblemSeverity::Error, failure.what());
    }
}

void checkStorages(const XmlNode& root, const SecuritySettings& security, ProblemList& problems) {
    for (const XmlNode* const element : childElements(root, "Storage")) {
        if (problems.isFull()) {
            return;
        }
        LoopStorageConfigurationHandler storage;
        std::string ignored;  // of what cannot be read the reader tells
        if (attributeValue(*element, "type") != "LoopStorage" ||
            !storage.parseXml(*element, ignored) || !storage.isTcpInterface()) {
            continue;
        }
        if (const auto problem = problemOfReach(storage, security); !problem.empty()) {
            problems.add(*element, ProblemSeverity::Error,
                         "LoopStorage " + storage.toString() + ": " + problem);
        }
    }
}

}  // namespace tarn::service::configuration
