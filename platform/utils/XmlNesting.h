#pragma once

#include <cstddef>
#include <optional>

namespace tarn::utils {

/// The offset of the first element that would stand more than `limit` levels deep; nothing when
/// there is none. Reads tags, comments and so on exactly as the parser does, so that a text that
/// passes costs the parser no more than `limit` calls of itself. A malformed text is read up to
/// where the parser gives up. `text` ends with a zero.
std::optional<std::size_t> findNestingBeyond(const char* text, unsigned limit);

}  // namespace tarn::utils
