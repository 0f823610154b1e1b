#pragma once

#include <optional>
#include <string>

namespace tarn::os {

/// Where the programs keep what a restart of the machine may lose: "/run/halden-tarn", or
/// "halden-tarn" in the user's run-time folder when that cannot be written. Makes the first one if
/// it can, the second one not. One that somebody else has made is not used. Does not throw.
std::string runTimeFolder();

/// Why the first one is not used although it is there: "/run/halden-tarn is not used: it belongs
/// to ..."; nothing where nobody has taken it.
std::optional<std::string> whoTookRunTimeFolder();

/// A folder that only this process's user can look into, for the locks that claims are:
/// "claims" in the run-time folder, or in the one of the unit that this process is of
/// (RUNTIME_DIRECTORY), or "/tmp/halden-tarn-claims-UID" where there is no such one. All processes
/// of one user that may write in the same folders have the same. Makes it, with mode 0700. Throws
/// std::runtime_error when it cannot be made, and when what is there is no folder or another
/// user's, whom the message names.
std::string claimFolder();

/// Makes a folder with mode 0700, and those above it, where they are missing, and makes sure that
/// it is this user's alone; root also uses one of the user that the services run as. Throws like
/// claimFolder.
void makePrivateFolder(const std::string& path);

}  // namespace tarn::os
