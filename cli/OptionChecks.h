#pragma once

#include <string>

namespace tarn::cli {

/// A check of an option that is "K=V": the complaint, or empty text for a good value.
std::string checkProperty(const std::string& text);

}  // namespace tarn::cli
