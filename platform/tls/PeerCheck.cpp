#include "platform/tls/PeerCheck.h"

#include <openssl/x509_vfy.h>

#include <new>

#include "platform/tls/OpenSsl.h"

namespace tarn::tls {

namespace {

int placeInConnections() {
    static const int place = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return place;
}

int errorOf(PeerCheck::Finding finding) {
    switch (finding) {
        case PeerCheck::Finding::Admitted:
            return X509_V_OK;
        case PeerCheck::Finding::NotYetValid:
            return X509_V_ERR_CERT_NOT_YET_VALID;
        case PeerCheck::Finding::Expired:
            return X509_V_ERR_CERT_HAS_EXPIRED;
        case PeerCheck::Finding::NothingShown:
        case PeerCheck::Finding::NotKnown:
            break;
    }
    return X509_V_ERR_CERT_REJECTED;
}

}  // namespace

void PeerCheck::watch(SSL* connection) {
    if (::SSL_set_ex_data(connection, placeInConnections(), this) != 1) {
        throw std::bad_alloc();
    }
}

void PeerCheck::forget(SSL* connection) {
    ::SSL_set_ex_data(connection, placeInConnections(), nullptr);
}

int PeerCheck::look(SSL* connection, const X509* certificate) {
    auto* const check =
        static_cast<PeerCheck*>(::SSL_get_ex_data(connection, placeInConnections()));
    if (check == nullptr || certificate == nullptr) {
        return X509_V_ERR_CERT_REJECTED;
    }
    check->shown = fingerprintOf(certificate);
    check->found = check->findingOf(certificate);
    return errorOf(check->found);
}

// Who is not known is told no more than that. X509_cmp_current_time gives 0 for a time that is
// none.
PeerCheck::Finding PeerCheck::findingOf(const X509* certificate) const {
    if (shown.empty() || !admits(shown)) {
        return Finding::NotKnown;
    }
    if (::X509_cmp_current_time(::X509_get0_notBefore(certificate)) >= 0) {
        return Finding::NotYetValid;
    }
    return ::X509_cmp_current_time(::X509_get0_notAfter(certificate)) > 0 ? Finding::Admitted
                                                                          : Finding::Expired;
}

}  // namespace tarn::tls
