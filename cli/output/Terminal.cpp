#include "cli/output/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace tarn::cli {

namespace {

std::string_view environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool isCapable(int descriptor) {
    return ::isatty(descriptor) == 1 && environment("TERM") != "dumb";
}

winsize sizeOf(int descriptor) {
    winsize size{};
    if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        size.ws_row = 24;
        size.ws_col = 80;
    }
    return size;
}

}  // namespace

Terminal Terminal::ofThisProcess() {
    const bool capable = isCapable(STDOUT_FILENO);
    const bool coloured = capable && environment("NO_COLOR").empty();
    const winsize output = sizeOf(STDOUT_FILENO);
    return {.colours = coloured ? Colours::On : Colours::Off,
            .progress = isCapable(STDERR_FILENO) ? ProgressStyle::Bar : ProgressStyle::Lines,
            .width = sizeOf(STDERR_FILENO).ws_col,
            .display = capable ? Display::Redraws : Display::Scrolls,
            .columns = output.ws_col,
            .lines = output.ws_row};
}

}  // namespace tarn::cli
