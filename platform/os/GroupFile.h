#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::os {

/// The machine's own groups. Read from their file: whoever asks for them through the C library may
/// be made to wait for a server on the network.
inline constexpr const char* groupFile = "/etc/group";

/// The id of a group in the text of such a file; nothing where it has none of that name.
std::optional<gid_t> groupIdIn(std::string_view groups, std::string_view name);

/// The same of the machine's; nothing also when its file cannot be read.
std::optional<gid_t> groupIdOf(std::string_view name, const std::string& file = groupFile);

/// Who is named there as a member, in that order: not those whose first group it is.
std::vector<std::string> groupMembersIn(std::string_view groups, std::string_view name);
std::vector<std::string> groupMembersOf(std::string_view name, const std::string& file = groupFile);

}  // namespace tarn::os
