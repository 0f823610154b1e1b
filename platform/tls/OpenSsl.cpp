#include "platform/tls/OpenSsl.h"

#include <openssl/err.h>
#include <openssl/pem.h>

#include <array>

namespace tarn::tls {

namespace {

Bio reading(std::string_view text) {
    return Bio(::BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

// Never asks at a terminal for the password of a key that has one.
int noPassword(char* /*buffer*/, int /*size*/, int /*isWriting*/, void* /*data*/) {
    return -1;
}

}  // namespace

std::string lastFailure() {
    const auto code = ::ERR_peek_last_error();
    ::ERR_clear_error();
    const char* const reason = ::ERR_reason_error_string(code);
    return reason == nullptr ? "it failed" : reason;
}

Key keyIn(std::string_view pem) {
    return Key(::PEM_read_bio_PrivateKey(reading(pem).get(), nullptr, noPassword, nullptr));
}

Certificate certificateIn(std::string_view pem) {
    return Certificate(::PEM_read_bio_X509(reading(pem).get(), nullptr, noPassword, nullptr));
}

std::string fingerprintOf(const X509* certificate) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
    unsigned size = 0;
    if (::X509_digest(certificate, ::EVP_sha256(), bytes.data(), &size) != 1) {
        return {};
    }
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (unsigned i = 0; i < size; ++i) {
        text += digits[bytes.at(i) >> 4U];
        text += digits[bytes.at(i) & 15U];
    }
    return text;
}

}  // namespace tarn::tls
