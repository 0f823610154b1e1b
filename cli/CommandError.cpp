#include "cli/CommandError.h"

#include <fmt/format.h>

namespace tarn::cli {

CommandError noAnswer(const std::string& endpoint, std::chrono::milliseconds bound) {
    const std::chrono::duration<double> seconds = bound;
    return {ExitStatus::NoAnswer,
            fmt::format("no answer from {} within {:g} s", endpoint, seconds.count())};
}

}  // namespace tarn::cli
