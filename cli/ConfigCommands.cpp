#include <CLI/CLI.hpp>

#include "cli/Commands.h"

namespace tarn::cli {

void addConfigCommands(CLI::App&, Action&) {}

}  // namespace tarn::cli
