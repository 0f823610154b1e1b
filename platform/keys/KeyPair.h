#pragma once

#include <string>
#include <string_view>

namespace tarn::keys {

/// Whether the text can be a key of CURVE, public or secret: 32 bytes in Z85, 40 characters.
bool isKey(std::string_view text);

/// A key that may be told to anybody, and the one that belongs to it, both in Z85. Who has the
/// secret one is who the public one names: it appears in no line, answer or message.
struct KeyPair {
    std::string publicKey;
    std::string secretKey;
};

/// A new pair from the kernel's randomness. Throws std::runtime_error where the messaging library
/// was built without CURVE.
KeyPair generateKeyPair();

/// The pair of a secret key. Throws std::invalid_argument, without the text, for what is no key.
KeyPair keyPairOf(const std::string& secretKey);

}  // namespace tarn::keys
