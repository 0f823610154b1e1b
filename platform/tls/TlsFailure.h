#pragma once

#include <string>

namespace tarn::tls {

class PeerCheck;

/// Why a connection failed, for an operator, with the peer as "it": by the library's code for that,
/// and by what was found of the peer's certificate.
std::string textOfFailure(unsigned long code, const PeerCheck& peer);

/// Whether what came first was no TLS at all.
bool isOtherProtocol(unsigned long code);

}  // namespace tarn::tls
