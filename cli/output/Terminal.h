#pragma once

#include <cstddef>

namespace tarn::cli {

enum class Colours { Off, On };
enum class ProgressStyle { Lines, Bar };
enum class Display { Scrolls, Redraws };

/// What the streams of the process are.
struct Terminal {
    Colours colours = Colours::Off;                 ///< of the output
    ProgressStyle progress = ProgressStyle::Lines;  ///< on the error stream
    std::size_t width = 80;                         ///< columns of the error stream
    Display display = Display::Scrolls;             ///< of the output
    std::size_t columns = 80;                       ///< of the output
    std::size_t lines = 24;                         ///< of the output

    /// Looks at the process's own streams and environment: colours only on a terminal that can show
    /// them, and not with NO_COLOR set.
    static Terminal ofThisProcess();
};

}  // namespace tarn::cli
