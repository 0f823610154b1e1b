#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarn::keys {

/// The SHA-256 of a certificate, by which its owner is known: 64 hexadecimal digits. Nothing for
/// what is none; case and colons between the bytes do not matter, and the result has neither.
std::optional<std::string> fingerprintIn(std::string_view text);

/// The fingerprint that is meant by a text: itself, or what the file of that path holds, alone or
/// behind the word "fingerprint". Throws KeyFileError.
std::string readFingerprint(const std::string& textOrPath);

/// What readFingerprint reads, with a line that says what it is.
std::string fingerprintFileText(const std::string& fingerprint);

}  // namespace tarn::keys
