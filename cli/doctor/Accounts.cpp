#include "cli/doctor/Accounts.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <vector>

#include "platform/os/SmallFile.h"

namespace tarn::cli {

namespace {

constexpr std::size_t largestFile = std::size_t{8} << 20U;

std::vector<std::string> split(const std::string& text, char at) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, at);) {
        parts.push_back(part);
    }
    return parts;
}

// The fields of the lines that have at least as many.
std::vector<std::vector<std::string>> records(const Machine& machine, const char* path,
                                              std::size_t least) {
    std::vector<std::vector<std::string>> result;
    const auto content = os::readBeginning(machine.at(path).string(), largestFile);
    for (const auto& line : split(content.value_or(""), '\n')) {
        if (auto fields = split(line, ':'); fields.size() >= least) {
            result.push_back(std::move(fields));
        }
    }
    return result;
}

}  // namespace

Accounts::Accounts(const Machine& machine) {
    for (const auto& fields : records(machine, "/etc/passwd", 4)) {
        uid_t id = 0;
        std::from_chars(fields[2].data(), fields[2].data() + fields[2].size(), id);
        users.emplace(fields[0], id);
    }
    for (const auto& fields : records(machine, "/etc/group", 3)) {
        auto& members = groups[fields[0]];
        if (fields.size() > 3) {
            for (auto& member : split(fields[3], ',')) {
                members.insert(std::move(member));
            }
        }
    }
}

std::optional<uid_t> Accounts::user(const std::string& name) const {
    const auto found = users.find(name);
    return found == users.end() ? std::nullopt : std::optional(found->second);
}

bool Accounts::isMember(const std::string& user, const std::string& group) const {
    const auto found = groups.find(group);
    return found != groups.end() && found->second.contains(user);
}

std::string Accounts::nameOf(uid_t user) const {
    const auto found = std::find_if(users.begin(), users.end(),
                                    [&](const auto& entry) { return entry.second == user; });
    return found == users.end() ? std::to_string(user) : found->first;
}

}  // namespace tarn::cli
