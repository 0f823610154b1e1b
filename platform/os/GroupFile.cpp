#include "platform/os/GroupFile.h"

#include <charconv>
#include <stdexcept>

#include "platform/os/SmallFile.h"

namespace tarn::os {

namespace {

constexpr std::size_t largestGroupFile = std::size_t{4} << 20;

// Takes what stands before the separator, which goes too; all that is left where there is none.
std::string_view cutAt(char separator, std::string_view& text) {
    const auto end = text.find(separator);
    const auto taken = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return taken;
}

std::optional<gid_t> numberIn(std::string_view text) {
    gid_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(number) : std::nullopt;
}

// What stands behind a group's name and password; nothing where there is none of that name. A line
// is name:password:id:members.
std::optional<std::string_view> entryOf(std::string_view groups, std::string_view name) {
    while (!groups.empty()) {
        auto line = cutAt('\n', groups);
        if (cutAt(':', line) == name) {
            cutAt(':', line);
            return line;
        }
    }
    return std::nullopt;
}

// Empty when it cannot be read.
std::string groupsIn(const std::string& file) {
    try {
        return readWhole(file, largestGroupFile).value_or("");
    } catch (const std::length_error&) {
        return {};
    }
}

}  // namespace

std::optional<gid_t> groupIdIn(std::string_view groups, std::string_view name) {
    auto entry = entryOf(groups, name);
    return entry ? numberIn(cutAt(':', *entry)) : std::nullopt;
}

std::optional<gid_t> groupIdOf(std::string_view name, const std::string& file) {
    return groupIdIn(groupsIn(file), name);
}

std::vector<std::string> groupMembersIn(std::string_view groups, std::string_view name) {
    std::vector<std::string> members;
    if (auto entry = entryOf(groups, name)) {
        cutAt(':', *entry);
        while (!entry->empty()) {
            members.emplace_back(cutAt(',', *entry));
        }
    }
    return members;
}

std::vector<std::string> groupMembersOf(std::string_view name, const std::string& file) {
    return groupMembersIn(groupsIn(file), name);
}

}  // namespace tarn::os
