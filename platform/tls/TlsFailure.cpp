#include "platform/tls/TlsFailure.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include "platform/tls/PeerCheck.h"

namespace tarn::tls {

namespace {

std::string textOfReason(unsigned long code) {
    switch (ERR_GET_REASON(code)) {
        case SSL_R_WRONG_VERSION_NUMBER:
        case SSL_R_HTTP_REQUEST:
        case SSL_R_HTTPS_PROXY_REQUEST:
            return "it does not speak TLS";
        case SSL_R_PEER_DID_NOT_RETURN_A_CERTIFICATE:
            return "it shows no certificate";
        case SSL_R_UNSUPPORTED_PROTOCOL:
        case SSL_R_NO_SHARED_CIPHER:
        case SSL_R_TLSV1_ALERT_PROTOCOL_VERSION:
            return "it speaks no TLS as new as this one's";
        case SSL_R_TLSV13_ALERT_CERTIFICATE_REQUIRED:
            return "it wants a certificate";
        case SSL_R_SSLV3_ALERT_BAD_CERTIFICATE:
        case SSL_R_SSLV3_ALERT_CERTIFICATE_UNKNOWN:
            return "it does not let this certificate in";
        case SSL_R_SSLV3_ALERT_CERTIFICATE_EXPIRED:
            return "for it this certificate has expired";
        default:
            break;
    }
    const char* const reason = ::ERR_reason_error_string(code);
    return reason == nullptr ? "the connection was cut" : reason;
}

}  // namespace

std::string textOfFailure(unsigned long code, const PeerCheck& peer) {
    switch (peer.finding()) {
        case PeerCheck::Finding::NotKnown:
            return "its certificate is not known here: " + peer.fingerprint();
        case PeerCheck::Finding::NotYetValid:
            return "its certificate does not count yet: " + peer.fingerprint();
        case PeerCheck::Finding::Expired:
            return "its certificate has expired: " + peer.fingerprint();
        case PeerCheck::Finding::NothingShown:
        case PeerCheck::Finding::Admitted:
            break;
    }
    return textOfReason(code);
}

bool isOtherProtocol(unsigned long code) {
    const auto reason = ERR_GET_REASON(code);
    return ERR_GET_LIB(code) == ERR_LIB_SSL && reason == SSL_R_WRONG_VERSION_NUMBER;
}

}  // namespace tarn::tls
