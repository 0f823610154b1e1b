#pragma once

#include <string>

namespace tarn::cli {

/// Checks of single options: the complaint, or empty text for a good value.
std::string checkEndpoint(const std::string& text);

}  // namespace tarn::cli
