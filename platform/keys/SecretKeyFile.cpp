#include "platform/keys/SecretKeyFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <map>
#include <optional>
#include <system_error>

#include "platform/keys/KeyLines.h"
#include "platform/os/FileDescriptor.h"
#include "platform/os/FileReplacement.h"
#include "platform/os/SmallFile.h"

namespace tarn::keys {

namespace {

constexpr std::size_t largestFile = 4096;

KeyFileError problem(const std::string& path, const std::string& reason) {
    return KeyFileError(path + ": " + reason);
}

std::string reasonOf(int error) {
    return std::generic_category().message(error);
}

// Of the file that is open: nobody can put another one in its place meanwhile.
void checkIsPrivate(int file, const std::string& path) {
    struct stat info {};
    if (::fstat(file, &info) != 0 || !S_ISREG(info.st_mode)) {
        throw problem(path, "it is no file");
    }
    if (info.st_uid != 0 && info.st_uid != ::geteuid()) {
        throw problem(path, "it belongs to user " + std::to_string(info.st_uid) +
                                ": only root and who runs this may have written it");
    }
    if ((info.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        throw problem(path, "others than its owner may read or write it: \"chmod 600\" it");
    }
}

// Never waits, not for the writer of a pipe either.
std::string readPrivate(const std::string& path) {
    const os::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen()) {
        throw problem(path, reasonOf(errno));
    }
    checkIsPrivate(file.get(), path);
    std::array<char, largestFile> content{};
    const auto count = ::read(file.get(), content.data(), content.size());
    if (count < 0) {
        throw problem(path, reasonOf(errno));
    }
    return {content.data(), static_cast<std::size_t>(count)};
}

}  // namespace

KeyPair readSecretKeyFile(const std::string& path) {
    std::map<std::string, std::string, std::less<>> fields;
    for (const auto& line : linesOf(readPrivate(path))) {
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
    const std::string content =
        "# A secret key: whoever can read this file can be who its public key names.\n"
        "public " +
        keys.publicKey + "\nsecret " + keys.secretKey + "\n";
    constexpr auto isThere = "it is there already, and a key that is lost cannot be made again";
    if (::access(path.c_str(), F_OK) == 0) {
        throw problem(path, isThere);
    }
    try {
        // No draft of a known name: somebody else could have made it before.
        os::FileReplacement file(path, {.mode = 0600});
        if (!file.commitUnlessThere(content)) {
            throw problem(path, isThere);
        }
    } catch (const std::system_error& failure) {
        throw problem(path, failure.what());
    }
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
