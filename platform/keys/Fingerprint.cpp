#include "platform/keys/Fingerprint.h"

#include <algorithm>
#include <cctype>

#include "platform/keys/KeyLines.h"
#include "platform/keys/PrivateFile.h"
#include "platform/os/SmallFile.h"

namespace tarn::keys {

namespace {

constexpr std::size_t largestFingerprintFile = 4096;
constexpr std::size_t digits = 64;
constexpr std::size_t digitsWithColons = digits + digits / 2 - 1;

bool hasColonsInPlace(std::string_view text) {
    for (std::size_t at = 2; at < text.size(); at += 3) {
        if (text[at] != ':') {
            return false;
        }
    }
    return true;
}

}  // namespace

std::optional<std::string> fingerprintIn(std::string_view text) {
    std::string plain(text);
    if (text.size() == digitsWithColons && hasColonsInPlace(text)) {
        std::erase(plain, ':');
    }
    const auto isDigit = [](unsigned char c) { return std::isxdigit(c) != 0; };
    if (plain.size() != digits || !std::ranges::all_of(plain, isDigit)) {
        return std::nullopt;
    }
    std::ranges::transform(plain, plain.begin(), [](unsigned char c) { return std::tolower(c); });
    return plain;
}

std::string readFingerprint(const std::string& textOrPath) {
    if (auto itself = fingerprintIn(textOrPath)) {
        return *itself;
    }
    const auto content = os::readBeginning(textOrPath, largestFingerprintFile);
    if (!content) {
        throw KeyFileError(textOrPath + ": it is no fingerprint, and no file that can be read");
    }
    for (const auto& line : linesOf(*content)) {
        const bool isNamed = line.words.size() == 2 && line.words[0] == "fingerprint";
        const auto found = fingerprintIn(line.words.back());
        if ((isNamed || line.words.size() == 1) && found) {
            return *found;
        }
    }
    throw KeyFileError(textOrPath + ": it holds no fingerprint");
}

std::string fingerprintFileText(const std::string& fingerprint) {
    return "# Names a certificate: it may be told to anybody.\nfingerprint " + fingerprint + "\n";
}

}  // namespace tarn::keys
