#include "platform/access/ClientKeyText.h"

#include "platform/access/ListText.h"
#include "platform/keys/KeyPair.h"
#include "platform/utils/Printable.h"

namespace tarn::access {

namespace {

// Of the words of a line that parseClientKeys takes, and of one of a key that stands there twice.
std::set<unsigned> linesAbout(const std::string& text, const std::string& nameOrKey) {
    return linesWhere(text, [&](const auto& words) {
        return words.size() == 3 && (words[1] == nameOrKey || words[2] == nameOrKey);
    });
}

}  // namespace

std::string withClientKey(const std::string& text, const ClientKey& added) {
    require(keys::isKey(added.key), "this is no public key");
    require(isClientName(added.name),
            "a name has 1 to 64 letters, digits, and \"._@-\": " + utils::quotedText(added.name));
    require(added.level != Level::None, "the level none needs no key");
    require(linesAbout(text, added.key).empty(), "the key is there already");
    require(linesAbout(text, added.name).empty(),
            utils::quotedText(added.name) + " is there already");
    return withLine(text, std::string(nameOf(added.level)) + " " + added.key + " " + added.name);
}

std::string withoutClientKey(const std::string& text, const std::string& nameOrKey) {
    const auto removed = linesAbout(text, nameOrKey);
    require(!removed.empty(), "there is no client " + utils::quotedText(nameOrKey));
    return withoutLines(text, removed);
}

}  // namespace tarn::access
