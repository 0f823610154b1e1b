#include "cli/output/Table.h"

#include <algorithm>
#include <cstddef>

#include "cli/output/TerminalText.h"

namespace tarn::cli {

namespace {

constexpr std::size_t widestCell = 64;
constexpr std::size_t gap = 2;

std::vector<std::size_t> widths(const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> result(rows.front().size(), 0);
    for (const auto& row : rows) {
        for (std::size_t column = 0; column < result.size(); ++column) {
            result[column] = std::max(result[column], columns(row[column]));
        }
    }
    return result;
}

std::string line(const std::vector<std::string>& row, const std::vector<std::size_t>& widths) {
    std::string text;
    for (std::size_t column = 0; column < row.size(); ++column) {
        text += row[column];
        if (column + 1 < row.size()) {
            text.append(widths[column] - columns(row[column]) + gap, ' ');
        }
    }
    return text;
}

}  // namespace

Table::Table(std::vector<std::string> header) : rows{std::move(header)} {}

void Table::add(const std::vector<std::string>& row) {
    auto& cells = rows.emplace_back(rows.front().size(), "-");
    for (std::size_t column = 0; column < std::min(row.size(), cells.size()); ++column) {
        if (!row[column].empty()) {
            cells[column] = shorten(escapeForTerminal(row[column]), widestCell);
        }
    }
}

std::vector<std::string> Table::lines() const {
    std::vector<std::string> result;
    const auto all = widths(rows);
    for (const auto& row : rows) {
        result.push_back(line(row, all));
    }
    return result;
}

}  // namespace tarn::cli
