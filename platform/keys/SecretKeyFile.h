#pragma once

#include <stdexcept>
#include <string>

#include "platform/keys/KeyPair.h"

namespace tarn::keys {

/// Why a file with keys cannot be used, for an operator: names the file, never its content.
class KeyFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads a file of writeSecretKeyFile. Throws KeyFileError: when it cannot be read, belongs to
/// somebody else than root and this process's user, can be read by anybody else, or holds something
/// else.
KeyPair readSecretKeyFile(const std::string& path);

/// Writes a file with mode 0600 to the disk. Throws KeyFileError, also where there is a file
/// already: a key that is lost cannot be made again.
void writeSecretKeyFile(const std::string& path, const KeyPair& keys);

/// The public key that is meant by a text: itself, or what the file of that path holds, a public
/// key alone or behind the word "public". Throws KeyFileError.
std::string readPublicKey(const std::string& textOrPath);

/// What readPublicKey reads, with a line that says what it is.
std::string publicKeyFileText(const std::string& publicKey);

}  // namespace tarn::keys
