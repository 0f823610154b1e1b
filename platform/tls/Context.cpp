#include "platform/tls/Context.h"

#include <stdexcept>

#include "platform/tls/OpenSsl.h"
#include "platform/tls/PeerCheck.h"

namespace tarn::tls {

namespace {

// Of TLS 1.2 what has forward secrecy and is both encryption and seal; of 1.3 all is.
constexpr auto ciphersOf12 = "ECDHE+AESGCM:ECDHE+CHACHA20";
// What a stranger may have us keep before we know him, in bytes.
constexpr long largestChain = 16L << 10U;

void checkSetUp(bool done) {
    if (!done) {
        throw std::runtime_error("cannot set up TLS: " + lastFailure());
    }
}

// In place of all that the library would look at itself: of what strangers send only the one
// certificate is read, whose key they prove to have right after.
int verify(X509_STORE_CTX* chain, void* /*argument*/) {
    auto* const connection = static_cast<SSL*>(
        ::X509_STORE_CTX_get_ex_data(chain, ::SSL_get_ex_data_X509_STORE_CTX_idx()));
    int error = X509_V_ERR_CERT_REJECTED;
    try {
        error = PeerCheck::look(connection, ::X509_STORE_CTX_get0_cert(chain));
    } catch (...) {  // the library knows no exceptions
    }
    ::X509_STORE_CTX_set_error(chain, error);
    return error == X509_V_OK ? 1 : 0;
}

void useOwn(SSL_CTX* context, const CertifiedKey& own) {
    const auto key = keyIn(own.pem);
    const auto certificate = certificateIn(own.pem);
    checkSetUp(key && certificate && ::SSL_CTX_use_certificate(context, certificate.get()) == 1 &&
               ::SSL_CTX_use_PrivateKey(context, key.get()) == 1 &&
               ::SSL_CTX_check_private_key(context) == 1);
}

}  // namespace

void setUp(SSL_CTX* context, const CertifiedKey& own) {
    checkSetUp(SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) == 1);
    checkSetUp(::SSL_CTX_set_cipher_list(context, ciphersOf12) == 1);
    ::SSL_CTX_set_options(context, SSL_OP_NO_TICKET | SSL_OP_NO_COMPRESSION |
                                       SSL_OP_NO_RENEGOTIATION | SSL_OP_IGNORE_UNEXPECTED_EOF);
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
    checkSetUp(::SSL_CTX_set_num_tickets(context, 0) == 1);
    SSL_CTX_set_mode(context, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_max_cert_list(context, largestChain);
    useOwn(context, own);
    ::SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    ::SSL_CTX_set_cert_verify_callback(context, verify, nullptr);
}

}  // namespace tarn::tls
