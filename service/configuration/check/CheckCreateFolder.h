#pragma once

#include <string>

namespace tarn::service::configuration {

/// Makes sure that `folder` is a directory, creating it (but not its parents) when nothing of that
/// name exists. False with the reason in `error`, which is cleared first. Never throws.
bool checkCreateFolder(const std::string& folder, std::string& error);

}  // namespace tarn::service::configuration
