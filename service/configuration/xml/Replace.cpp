#include "service/configuration/xml/Replace.h"

#include <limits>

namespace tarn::service::configuration {

namespace {

constexpr auto noLimit = std::numeric_limits<std::size_t>::max();
constexpr std::size_t mostReplacements = 100'000;

/// False when it is not done within the limits.
bool replaceAll(std::string& text, const std::string& pattern, const std::string& replacement,
                std::size_t mostSteps, std::size_t longest) {
    std::size_t steps = 0;
    for (auto position = text.find(pattern); position != std::string::npos;
         position = text.find(pattern)) {
        if (mostSteps != noLimit && ++steps > mostSteps) {
            return false;
        }
        text.replace(position, pattern.size(), replacement);
        if (text.size() > longest) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::string replace(const std::string& text, const std::string& pattern,
                    const std::string& replacement) {
    std::string result = text;
    if (!pattern.empty()) {
        replaceAll(result, pattern, replacement, noLimit, noLimit);
    }
    return result;
}

// A replacement that holds the pattern is not alone: one that ends with its beginning can be
// completed by the text that follows, again and again.
std::optional<std::string> replaceWithin(const std::string& text, const std::string& pattern,
                                         const std::string& replacement, std::size_t longest) {
    std::string result = text;
    if (pattern.empty() || text.find(pattern) == std::string::npos) {
        return result;
    }
    const bool endless = replacement.find(pattern) != std::string::npos;
    const bool done =
        !endless && replaceAll(result, pattern, replacement, mostReplacements, longest);
    return done ? std::optional(std::move(result)) : std::nullopt;
}

}  // namespace tarn::service::configuration
