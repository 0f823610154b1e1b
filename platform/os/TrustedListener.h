#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace tarn::os {

// Whom one talks to over Unix sockets: a listener of root's, of this process's own user, or of the
// user that the services run as, where there is one. Anybody may make a file in /tmp, and be there
// first.
//
// This rests on two things. The kernel's word on a connection says whose process listens (as it
// was when it began to), and cannot be forged. And the file at the path is looked at before, not
// through links: in a folder like /tmp, whose files only their owners remove, a file that belongs
// to one of these three was put there by one of them, and nobody else can put another in its place.
// In a folder where everybody may remove everything the kernel's word still holds, but one may be
// led to another socket of a trusted user.

/// The user that the installed services run as.
inline constexpr std::string_view serviceUser = "tarn";
/// The user of the installed loop storage, whom its clients trust as well.
inline constexpr std::string_view storageUser = "tarn-store";

/// Whether to talk to a listener of this user's; `alsoTrusted` is the name of one more. Any thread.
bool isTrustedListener(uid_t user, std::string_view alsoTrusted = {});

/// Why a file of that owner is not to be connected to: "it belongs to user mallory (1001), ...";
/// nothing when it may be. Any thread.
std::optional<std::string> whyOwnerNotTrusted(uid_t owner, std::string_view alsoTrusted = {});

/// The same of the file at a path; nothing also when there is none. Does not follow a link, whose
/// own owner counts.
std::optional<std::string> whyNotTrusted(const std::string& path,
                                         std::string_view alsoTrusted = {});

/// The same of a Unix socket that is connected, by who listens at its other end. Nothing also for
/// what is no such socket.
std::optional<std::string> whyNotTrusted(int connected, std::string_view alsoTrusted = {});

}  // namespace tarn::os
