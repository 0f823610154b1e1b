#include "platform/tls/CertifiedKey.h"

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/pem.h>

#include <ctime>
#include <stdexcept>
#include <utility>

#include "platform/keys/PrivateFile.h"
#include "platform/tls/OpenSsl.h"

namespace tarn::tls {

namespace {

constexpr int serialBits = 127;

void checkMade(bool done) {
    if (!done) {
        throw std::runtime_error("cannot make a certificate: " + lastFailure());
    }
}

void setSerial(X509* certificate) {
    const std::unique_ptr<BIGNUM, FreeWith<BN_free>> number(::BN_new());
    checkMade(number &&
              ::BN_rand(number.get(), serialBits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
              ::BN_to_ASN1_INTEGER(number.get(), ::X509_get_serialNumber(certificate)) != nullptr);
}

void setName(X509* certificate, const std::string& name) {
    auto* const subject = ::X509_get_subject_name(certificate);
    const void* const generic = name.data();
    checkMade(::X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                                           static_cast<const unsigned char*>(generic),
                                           static_cast<int>(name.size()), -1, 0) == 1);
    checkMade(::X509_set_issuer_name(certificate, subject) == 1);
}

void setTime(ASN1_TIME* place, CertificateTime time) {
    checkMade(::ASN1_TIME_set(place, std::chrono::system_clock::to_time_t(time)) != nullptr);
}

CertificateTime endOfCertificate(const X509* certificate) {
    std::tm parts{};
    return ::ASN1_TIME_to_tm(::X509_get0_notAfter(certificate), &parts) == 1
               ? std::chrono::system_clock::from_time_t(::timegm(&parts))
               : CertificateTime();
}

Certificate certify(EVP_PKEY* key, const std::string& name, const Validity& validity) {
    constexpr long version3 = 2;
    Certificate made(::X509_new());
    checkMade(made && ::X509_set_version(made.get(), version3) == 1);
    setSerial(made.get());
    setName(made.get(), name);
    setTime(::X509_getm_notBefore(made.get()), validity.begin);
    setTime(::X509_getm_notAfter(made.get()), validity.end);
    checkMade(::X509_set_pubkey(made.get(), key) == 1);
    checkMade(::X509_sign(made.get(), key, ::EVP_sha256()) > 0);
    return made;
}

std::string pemOf(EVP_PKEY* key, X509* certificate) {
    const Bio text(::BIO_new(::BIO_s_mem()));
    checkMade(text && ::PEM_write_bio_PrivateKey(text.get(), key, nullptr, nullptr, 0, nullptr,
                                                 nullptr) == 1);
    checkMade(::PEM_write_bio_X509(text.get(), certificate) == 1);
    char* bytes = nullptr;
    const auto size = BIO_get_mem_data(text.get(), &bytes);
    return {bytes, static_cast<std::size_t>(size)};
}

}  // namespace

CertifiedKey generateCertifiedKey(const std::string& name, const Validity& validity) {
    std::string curve = "P-256";  // the library's macro wants one that could be changed
    const Key key(::EVP_EC_gen(curve.data()));
    checkMade(key != nullptr);
    const auto certificate = certify(key.get(), name, validity);
    return {pemOf(key.get(), certificate.get()), fingerprintOf(certificate.get()),
            endOfCertificate(certificate.get())};
}

CertifiedKey readCertifiedKeyFile(const std::string& path, std::string_view alsoTrusted) {
    auto text = keys::readPrivateFile(path, alsoTrusted);
    const auto key = keyIn(text);
    const auto certificate = certificateIn(text);
    if (!key || !certificate) {
        lastFailure();
        throw keys::KeyFileError(path + ": it holds no key with its certificate");
    }
    if (::X509_check_private_key(certificate.get(), key.get()) != 1) {
        lastFailure();
        throw keys::KeyFileError(path + ": its certificate is not that of its key");
    }
    auto fingerprint = fingerprintOf(certificate.get());
    return {std::move(text), std::move(fingerprint), endOfCertificate(certificate.get())};
}

void writeCertifiedKeyFile(const std::string& path, const CertifiedKey& key) {
    keys::writePrivateFile(
        path,
        "# A secret key: whoever can read this file can be who its certificate names.\n" + key.pem);
}

}  // namespace tarn::tls
