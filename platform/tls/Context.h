#pragma once

#include <openssl/ssl.h>

#include "platform/tls/CertifiedKey.h"

namespace tarn::tls {

/// Has a context speak TLS 1.2 or 1.3 as the owner of the key. Both sides show a certificate, and
/// whether the other one's is good is for the PeerCheck of each connection: authorities and names
/// do not count. No session is taken up again, which would do without. Throws std::runtime_error.
void setUp(SSL_CTX* context, const CertifiedKey& own);

}  // namespace tarn::tls
