#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace tarn::peers {

/// Cuts what a process writes into lines. A line over the limit is cut there and its rest dropped,
/// so that no amount of output without a line end is kept.
class OutputLines {
  public:
    static constexpr std::size_t maxLineBytes = 4096;

    using Sink = std::function<void(const std::string& line)>;

    explicit OutputLines(Sink sink);

    void add(std::string_view bytes);

    /// Hands out a last line that has no end.
    void finish();

  private:
    void append(std::string_view part);

    Sink sink;
    std::string line;
};

}  // namespace tarn::peers
