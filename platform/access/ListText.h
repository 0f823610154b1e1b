#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace tarn::access {

// Changes of a text with a client in each line. What else stands in it, comments and lines that are
// none, stays as it is.

/// Throws std::invalid_argument with the complaint unless it is good.
void require(bool good, const std::string& complaint);

/// The numbers of the lines whose words fulfil a condition.
std::set<unsigned> linesWhere(
    const std::string& text, const std::function<bool(const std::vector<std::string>&)>& condition);

std::string withLine(const std::string& text, const std::string& line);
std::string withoutLines(const std::string& text, const std::set<unsigned>& numbers);

}  // namespace tarn::access
