#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarn::keys {

/// A line of a file with keys that says something.
struct KeyLine {
    unsigned number = 0;  ///< from 1
    std::vector<std::string> words;
};

/// The lines of a text, without those that are empty or begin with "#". Words stand between blanks
/// and tabs; a key holds neither, and is never a line's first word where it may begin with "#".
std::vector<KeyLine> linesOf(std::string_view text);

}  // namespace tarn::keys
