#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace tarn::service::configuration {

/// A copy of `text` in which every occurrence of `pattern` is replaced. After each replacement the
/// search begins again at the start, so that an occurrence that came about by replacing is replaced
/// too. An empty pattern replaces nothing.
///
/// Never ends for some values, such as a replacement that holds the pattern: callers must not pass
/// such a one, or use replaceWithin.
std::string replace(const std::string& text, const std::string& pattern,
                    const std::string& replacement);

/// The same for any values. Nothing when there is an occurrence and the replacement holds the
/// pattern, and when the result would come about only after more than 100,000 replacements or with
/// more than `longest` bytes on the way.
std::optional<std::string> replaceWithin(const std::string& text, const std::string& pattern,
                                         const std::string& replacement, std::size_t longest);

}  // namespace tarn::service::configuration
