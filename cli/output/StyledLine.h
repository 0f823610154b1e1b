#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "cli/output/Terminal.h"

namespace tarn::cli {

enum class Style { Plain, Bold, Faint, Good, Warning, Bad };

/// A line of parts that look differently on a terminal with colours. The parts may hold anything:
/// they are escaped.
class StyledLine {
  public:
    static constexpr auto unlimited = std::numeric_limits<std::size_t>::max();

    StyledLine& add(std::string_view text, Style style = Style::Plain);

    /// At most `limit` columns of it; what was cut off ends in an ellipsis.
    std::string text(Colours colours, std::size_t limit = unlimited) const;

  private:
    struct Part {
        std::string escaped;
        Style style;
    };
    std::vector<Part> parts;
};

}  // namespace tarn::cli
