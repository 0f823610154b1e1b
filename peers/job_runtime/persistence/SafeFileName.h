#pragma once

#include <string>

namespace tarn::peers {

/// A file name for a text that came from outside: letters, digits and `_@%+=:,.-` are kept, other
/// bytes are percent-encoded, and so is a dot at the beginning. Over 100 characters it is cut and
/// ends in a hash of the whole text, so that two long texts do not meet. Never empty, never a path.
std::string safeFileName(const std::string& text);

}  // namespace tarn::peers
