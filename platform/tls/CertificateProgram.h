#pragma once

#include <string>

#include "platform/tls/CertifiedKey.h"

namespace tarn::tls {

/// A certificate without its key.
struct CertificateFacts {
    std::string fingerprint;
    CertificateTime end;
};

// For programs that live for milliseconds and mostly have nothing to do with certificates: another
// one, beside the running one, loads the library for them. Each waits for it, 10 s at most. Throw
// keys::KeyFileError with what it said.

/// Makes a key and a certificate of that name, good for so many days, and writes them to a file as
/// writeCertifiedKeyFile does.
CertificateFacts makeCertificateFile(const std::string& path, const std::string& name,
                                     unsigned days);

/// What readCertifiedKeyFile reads, of which the key goes no further.
CertificateFacts lookAtCertificateFile(const std::string& path,
                                       const std::string& alsoTrusted = {});

inline constexpr auto certificateProgramName = "tarnCertificate";

}  // namespace tarn::tls
