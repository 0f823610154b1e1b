#include "service/configuration/Replace.h"

namespace tarn::service::configuration {

std::string replace(const std::string& text, const std::string& pattern,
                    const std::string& replacement) {
    std::string result = text;
    if (pattern.empty()) {
        return result;
    }
    for (auto position = result.find(pattern); position != std::string::npos;
         position = result.find(pattern)) {
        result.replace(position, pattern.size(), replacement);
    }
    return result;
}

// Why false is a guarantee: a replacement shorter than the pattern shortens the text with each
// step. In any other, a new occurrence can only begin left of the replacement and end inside it, so
// that each step moves left.
bool mayReplaceForever(const std::string& pattern, const std::string& replacement) {
    if (pattern.empty()) {
        return false;
    }
    if (replacement.find(pattern) != std::string::npos) {
        return true;
    }
    for (std::size_t length = 1; length < pattern.size(); ++length) {
        if (replacement.ends_with(pattern.substr(0, length))) {
            return true;
        }
    }
    return false;
}

}  // namespace tarn::service::configuration
