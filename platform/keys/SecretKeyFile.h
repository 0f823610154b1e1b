#pragma once

#include <string>

#include "platform/keys/KeyPair.h"
#include "platform/keys/PrivateFile.h"

namespace tarn::keys {

/// Reads a file of writeSecretKeyFile. Throws KeyFileError: as readPrivateFile, and when it holds
/// something else.
KeyPair readSecretKeyFile(const std::string& path);

/// Writes such a file: see writePrivateFile.
void writeSecretKeyFile(const std::string& path, const KeyPair& keys);

/// The public key that is meant by a text: itself, or what the file of that path holds, a public
/// key alone or behind the word "public". Throws KeyFileError.
std::string readPublicKey(const std::string& textOrPath);

/// What readPublicKey reads, with a line that says what it is.
std::string publicKeyFileText(const std::string& publicKey);

}  // namespace tarn::keys
