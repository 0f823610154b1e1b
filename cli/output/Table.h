#pragma once

#include <string>
#include <vector>

namespace tarn::cli {

/// Rows under a header, in columns as wide as their longest cell. Cells may hold anything: they are
/// escaped, and cut where one is very long.
class Table {
  public:
    explicit Table(std::vector<std::string> header);

    /// As many cells as the header has; an empty one is shown as "-".
    void add(const std::vector<std::string>& row);

    bool empty() const { return rows.size() == 1; }

    /// Lines without trailing blanks or newlines; the header first.
    std::vector<std::string> lines() const;

  private:
    std::vector<std::vector<std::string>> rows;
};

}  // namespace tarn::cli
