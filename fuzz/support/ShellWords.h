#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarn::fuzz {

/// The one word that a quoted text is to any POSIX shell, in the few forms that quoting uses here:
/// characters that mean nothing to a shell, texts between single quotes, and \'. Nothing for what
/// is no word, is more than one, or would have the shell do anything.
std::optional<std::string> wordOf(std::string_view quoted);

/// Whether each word of a command line is such a word, but for the & at its end.
bool isHarmlessToShell(std::string_view command);

}  // namespace tarn::fuzz
