// Files with keys, whatever stands in them: of the clients' keys each line gives one key a level or
// gives nobody anything, and no complaint repeats what may be a secret; of a key of one's own it is
// the pair or a reason.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <stdexcept>
#include <string>

#include "fuzz/support/PrivateFolder.h"
#include "fuzz/support/QuietLog.h"
#include "fuzz/support/Require.h"
#include "platform/access/ClientKeys.h"
#include "platform/access/Level.h"
#include "platform/keys/KeyLines.h"
#include "platform/keys/KeyPair.h"
#include "platform/keys/SecretKeyFile.h"

namespace {

using namespace tarn;
using fuzz::require;

constexpr std::size_t asLongAsASecret = 40;

void checkProblems(const access::ClientKeyList& list, const std::string& text) {
    for (const auto& line : keys::linesOf(text)) {
        for (const auto& word : line.words) {
            require(
                word.size() < asLongAsASecret ||
                std::none_of(list.problems.begin(), list.problems.end(), [&](const auto& problem) {
                    return problem.find(word) != std::string::npos;
                }));
        }
    }
}

std::string textOf(const access::ClientKeyList& list) {
    std::string text;
    for (const auto& entry : list.keys) {
        text +=
            std::string(access::nameOf(entry.level)) + " " + entry.key + " " + entry.name + "\n";
    }
    return text;
}

void readClients(const std::string& text) {
    const auto list = access::parseClientKeys(text);
    std::set<std::string> known;
    for (const auto& entry : list.keys) {
        require(known.insert(entry.key).second && keys::isKey(entry.key));
        require(entry.level != access::Level::None && access::isClientName(entry.name));
    }
    checkProblems(list, text);
    const auto again = access::parseClientKeys(textOf(list));
    require(again.problems.empty() && textOf(again) == textOf(list));
}

void readOwn(const std::string& text) {
    static const fuzz::PrivateFolder folder;
    const auto file = folder.write("key", text);
    try {
        require(keys::isKey(keys::readSecretKeyFile(file).publicKey));
    } catch (const keys::KeyFileError& failure) {
        require(text.size() < asLongAsASecret ||
                std::string(failure.what()).find(text) == std::string::npos);
    }
    try {
        require(keys::isKey(keys::readPublicKey(file)));
    } catch (const keys::KeyFileError&) {
        // it holds none
    }
    try {
        require(keys::keyPairOf(text).secretKey == text);
    } catch (const std::invalid_argument&) {
        require(!keys::isKey(text));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::logIntoNothing();
    const std::string text(data, data + size);
    readClients(text);
    readOwn(text);
    return 0;
}
