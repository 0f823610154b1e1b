#include "platform/access/ListText.h"

#include <sstream>
#include <stdexcept>

#include "platform/keys/KeyLines.h"

namespace tarn::access {

void require(bool good, const std::string& complaint) {
    if (!good) {
        throw std::invalid_argument(complaint);
    }
}

std::set<unsigned> linesWhere(
    const std::string& text,
    const std::function<bool(const std::vector<std::string>&)>& condition) {
    std::set<unsigned> numbers;
    for (const auto& line : keys::linesOf(text)) {
        if (condition(line.words)) {
            numbers.insert(line.number);
        }
    }
    return numbers;
}

std::string withLine(const std::string& text, const std::string& line) {
    const bool endsWithLine = text.empty() || text.ends_with('\n');
    return text + (endsWithLine ? "" : "\n") + line + "\n";
}

std::string withoutLines(const std::string& text, const std::set<unsigned>& numbers) {
    std::istringstream input(text);
    std::string kept;
    unsigned number = 0;
    for (std::string line; std::getline(input, line);) {
        if (!numbers.contains(++number)) {
            kept += line + "\n";
        }
    }
    return kept;
}

}  // namespace tarn::access
