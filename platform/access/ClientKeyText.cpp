#include "platform/access/ClientKeyText.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <stdexcept>

#include "platform/keys/KeyLines.h"
#include "platform/keys/KeyPair.h"
#include "platform/utils/Printable.h"

namespace tarn::access {

namespace {

void check(bool good, const std::string& complaint) {
    if (!good) {
        throw std::invalid_argument(complaint);
    }
}

// Of the words of a line that parseClientKeys takes, and of one of a key that stands there twice.
bool isOf(const keys::KeyLine& line, const std::string& nameOrKey) {
    return line.words.size() == 3 && (line.words[1] == nameOrKey || line.words[2] == nameOrKey);
}

std::set<unsigned> linesAbout(const std::string& text, const std::string& nameOrKey) {
    std::set<unsigned> numbers;
    for (const auto& line : keys::linesOf(text)) {
        if (isOf(line, nameOrKey)) {
            numbers.insert(line.number);
        }
    }
    return numbers;
}

}  // namespace

std::string withClientKey(const std::string& text, const ClientKey& added) {
    check(keys::isKey(added.key), "this is no public key");
    check(isClientName(added.name),
          "a name has 1 to 64 letters, digits, and \"._@-\": " + utils::quotedText(added.name));
    check(added.level != Level::None, "the level none needs no key");
    check(linesAbout(text, added.key).empty(), "the key is there already");
    check(linesAbout(text, added.name).empty(),
          utils::quotedText(added.name) + " is there already");
    const bool endsWithLine = text.empty() || text.ends_with('\n');
    return text + (endsWithLine ? "" : "\n") + std::string(nameOf(added.level)) + " " + added.key +
           " " + added.name + "\n";
}

std::string withoutClientKey(const std::string& text, const std::string& nameOrKey) {
    const auto removed = linesAbout(text, nameOrKey);
    check(!removed.empty(), "there is no client " + utils::quotedText(nameOrKey));
    std::istringstream input(text);
    std::string kept;
    unsigned number = 0;
    for (std::string line; std::getline(input, line);) {
        if (!removed.contains(++number)) {
            kept += line + "\n";
        }
    }
    return kept;
}

}  // namespace tarn::access
