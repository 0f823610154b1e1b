#pragma once

#include <functional>
#include <string>

namespace tarn::cli {

/// What the file holds; nothing is an empty text. Throws CommandError.
std::string readClientKeyFile(const std::string& path);

/// Puts what `change` makes of the file's text in its place, on the disk, with nobody else changing
/// it meanwhile (2 s are waited for who does). Readers see the old text or the new one. Throws
/// CommandError; std::invalid_argument of `change` becomes one.
void changeClientKeyFile(const std::string& path,
                         const std::function<std::string(const std::string&)>& change);

}  // namespace tarn::cli
