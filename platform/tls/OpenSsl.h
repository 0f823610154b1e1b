#pragma once

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <string_view>

namespace tarn::tls {

/// Gives an object of the cryptographic library back with the function for that.
template <auto Free>
struct FreeWith {
    template <typename T>
    void operator()(T* object) const {
        Free(object);
    }
};

using Bio = std::unique_ptr<BIO, FreeWith<BIO_free_all>>;
using Key = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, FreeWith<X509_free>>;

/// What the library says of its last failure on this thread, which is forgotten by that.
std::string lastFailure();

/// Null for a text that has none.
Key keyIn(std::string_view pem);
Certificate certificateIn(std::string_view pem);

/// Empty for one that cannot be read.
std::string fingerprintOf(const X509* certificate);

}  // namespace tarn::tls
