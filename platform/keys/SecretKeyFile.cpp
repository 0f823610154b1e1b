#include "platform/keys/SecretKeyFile.h"

#include <map>

#include "platform/keys/KeyLines.h"
#include "platform/os/SmallFile.h"

namespace tarn::keys {

namespace {

constexpr std::size_t largestFile = 4096;

KeyFileError problem(const std::string& path, const std::string& reason) {
    return KeyFileError(path + ": " + reason);
}

}  // namespace

KeyPair readSecretKeyFile(const std::string& path) {
    std::map<std::string, std::string, std::less<>> fields;
    for (const auto& line : linesOf(readPrivateFile(path))) {
        if (line.words.size() == 2) {
            fields[line.words[0]] = line.words[1];
        }
    }
    if (!isKey(fields["secret"])) {
        throw problem(path, "it holds no secret key");
    }
    auto keys = keyPairOf(fields["secret"]);
    if (keys.publicKey != fields["public"]) {
        throw problem(path, "its public key is not that of its secret key");
    }
    return keys;
}

void writeSecretKeyFile(const std::string& path, const KeyPair& keys) {
    writePrivateFile(path,
                     "# A secret key: whoever can read this file can be who its public key names.\n"
                     "public " +
                         keys.publicKey + "\nsecret " + keys.secretKey + "\n");
}

std::string readPublicKey(const std::string& textOrPath) {
    if (isKey(textOrPath)) {
        return textOrPath;
    }
    const auto content = os::readBeginning(textOrPath, largestFile);
    if (!content) {
        throw problem(textOrPath, "it is no key, and no file that can be read");
    }
    for (const auto& line : linesOf(*content)) {
        const bool isNamed = line.words.size() == 2 && line.words[0] == "public";
        if ((isNamed || line.words.size() == 1) && isKey(line.words.back())) {
            return line.words.back();
        }
    }
    throw problem(textOrPath, "it holds no public key");
}

std::string publicKeyFileText(const std::string& publicKey) {
    return "# A public key: it may be told to anybody.\npublic " + publicKey + "\n";
}

}  // namespace tarn::keys
