#include "cli/Terminal.h"

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

std::size_t widthOf(int descriptor) {
    winsize size{};
    const bool known = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : 80;
}

}  // namespace

Terminal Terminal::ofThisProcess() {
    const bool coloured = isCapable(STDOUT_FILENO) && environment("NO_COLOR").empty();
    return {.colours = coloured ? Colours::On : Colours::Off,
            .progress = isCapable(STDERR_FILENO) ? ProgressStyle::Bar : ProgressStyle::Lines,
            .width = widthOf(STDERR_FILENO)};
}

}  // namespace tarn::cli
