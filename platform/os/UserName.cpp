#include "platform/os/UserName.h"

#include <stdexcept>

#include "platform/os/SmallFile.h"

namespace tarn::os {

namespace {

constexpr std::size_t largestFile = std::size_t{4} << 20;

std::string_view takeUntil(char separator, std::string_view& text) {
    const auto end = text.find(separator);
    const auto taken = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return taken;
}

}  // namespace

// A line is name:password:id:..., and the first of an id names it.
std::string userNameIn(std::string_view users, uid_t user) {
    const auto wanted = std::to_string(user);
    while (!users.empty()) {
        auto line = takeUntil('\n', users);
        const auto name = takeUntil(':', line);
        takeUntil(':', line);
        if (takeUntil(':', line) == wanted) {
            return std::string(name);
        }
    }
    return {};
}

std::string userNameOf(uid_t user, const std::string& file) {
    try {
        const auto users = readWhole(file, largestFile);
        return users ? userNameIn(*users, user) : std::string();
    } catch (const std::length_error&) {
        return {};
    }
}

std::string describeUser(uid_t user) {
    const auto name = userNameOf(user);
    const auto number = std::to_string(user);
    return "user " + (name.empty() ? number : name + " (" + number + ")");
}

}  // namespace tarn::os
