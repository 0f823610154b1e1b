#pragma once

#include <string>

namespace tarn::service::configuration {

/// A text from outside as a message may show it: in double quotes, at most 80 bytes of it ("..."
/// stands for the rest), control characters, quotes and backslashes escaped.
std::string quotedText(const std::string& text);

}  // namespace tarn::service::configuration
