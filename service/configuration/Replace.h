#pragma once

#include <string>

namespace tarn::service::configuration {

/// A copy of `text` in which every occurrence of `pattern` is replaced. After each replacement the
/// search begins again at the start, so that an occurrence that came about by replacing is replaced
/// too. An empty pattern replaces nothing.
///
/// Does not end for some values: callers must not pass one for which mayReplaceForever is true.
std::string replace(const std::string& text, const std::string& pattern,
                    const std::string& replacement);

/// False guarantees that `replace` ends for every text. True when the replacement holds the
/// pattern, or ends with its beginning: the text that follows may then complete it, again and
/// again.
bool mayReplaceForever(const std::string& pattern, const std::string& replacement);

}  // namespace tarn::service::configuration
