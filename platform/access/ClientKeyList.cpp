#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>

#include "platform/access/ClientKeys.h"
#include "platform/keys/KeyLines.h"
#include "platform/keys/KeyPair.h"

namespace tarn::access {

namespace {

constexpr std::size_t longestName = 64;

bool isNameCharacter(char character) {
    constexpr std::string_view others = "._@-";
    return std::isalnum(static_cast<unsigned char>(character)) != 0 ||
           others.find(character) != std::string_view::npos;
}

// Why a line gives nobody anything; empty when it does. What stands there is not repeated: it may
// be a secret key that somebody has put into the wrong file.
std::string problemOf(const std::vector<std::string>& words) {
    if (words.size() != 3) {
        return "it is not \"LEVEL KEY NAME\"";
    }
    if (levelNamed(words[0]).value_or(Level::None) == Level::None) {
        return "its level is none of read, operate and admin";
    }
    if (!keys::isKey(words[1])) {
        return "it has no key of 40 characters";
    }
    return isClientName(words[2])
               ? ""
               : "its name is not of 1 to 64 letters, digits, and \"._@-\" alone";
}

/// Where in the list each key stands.
using Places = std::unordered_map<std::string, std::size_t>;

void add(ClientKeyList& list, Places& places, ClientKey entry) {
    const auto [place, isNew] = places.try_emplace(entry.key, list.keys.size());
    if (isNew) {
        list.keys.push_back(std::move(entry));
        return;
    }
    auto& same = list.keys[place->second];
    list.problems.push_back("line " + std::to_string(entry.line) + ": its key stands in line " +
                            std::to_string(same.line) + " already: the lower level counts");
    same.level = std::min(same.level, entry.level);
}

}  // namespace

bool isClientName(std::string_view name) {
    return !name.empty() && name.size() <= longestName &&
           std::ranges::all_of(name, isNameCharacter);
}

ClientKeyList parseClientKeys(std::string_view text) {
    ClientKeyList list;
    Places places;
    for (const auto& line : keys::linesOf(text)) {
        if (const auto problem = problemOf(line.words); !problem.empty()) {
            list.problems.push_back("line " + std::to_string(line.number) + ": " + problem);
        } else {
            add(list, places,
                {*levelNamed(line.words[0]), line.words[1], line.words[2], line.number});
        }
    }
    return list;
}

}  // namespace tarn::access
