#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace tarn::tls {

using CertificateTime = std::chrono::system_clock::time_point;

/// From when on and until when a certificate counts.
struct Validity {
    CertificateTime begin;
    CertificateTime end;
};

/// A secret key with the certificate that names it, both as PEM in one text: it appears in no line,
/// answer or message. No authority has to sign the certificate: others know its fingerprint.
struct CertifiedKey {
    std::string pem;
    std::string fingerprint;  ///< as keys::fingerprintIn gives it
    CertificateTime end;      ///< when the certificate expires
};

/// A new key (P-256) with a certificate of that name. Throws std::runtime_error.
CertifiedKey generateCertifiedKey(const std::string& name, const Validity& validity);

/// Reads a file of writeCertifiedKeyFile, or another one with a key and a certificate as PEM.
/// Throws keys::KeyFileError: as keys::readPrivateFile, and when it holds something else.
CertifiedKey readCertifiedKeyFile(const std::string& path, std::string_view alsoTrusted = {});

/// Writes a file with mode 0600 to the disk. Throws keys::KeyFileError, also where there is a file
/// already.
void writeCertifiedKeyFile(const std::string& path, const CertifiedKey& key);

}  // namespace tarn::tls
