#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace tarn::keys {

/// Why a file with keys cannot be used, for an operator: names the file, never its content.
class KeyFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What a file with a secret holds. Never waits. Throws KeyFileError: when it cannot be read, can
/// be read by others than its owner, or belongs to somebody else than root, this process's user,
/// the one that the services run as, and `alsoTrusted`, which is the name of one more.
std::string readPrivateFile(const std::string& path, std::string_view alsoTrusted = {});

/// Writes a file with mode 0600 to the disk. Throws KeyFileError, also where there is a file
/// already: a key that is lost cannot be made again.
void writePrivateFile(const std::string& path, const std::string& content);

}  // namespace tarn::keys
