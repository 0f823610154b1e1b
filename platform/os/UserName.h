#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace tarn::os {

/// The machine's own users. Read from their file: whoever asks for them through the C library may
/// be made to wait for a server on the network.
inline constexpr const char* userFile = "/etc/passwd";

/// The name of a user in the text of such a file; empty where it has none.
std::string userNameIn(std::string_view users, uid_t user);

/// The same of the machine's; empty also when its file cannot be read. Any thread.
std::string userNameOf(uid_t user, const std::string& file = userFile);

/// For messages: "user mallory (1001)", or "user 1001" where he has no name here.
std::string describeUser(uid_t user);

}  // namespace tarn::os
