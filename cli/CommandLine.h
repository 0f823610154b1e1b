#pragma once

#include <string>
#include <vector>

#include "cli/ExitStatus.h"

namespace tarn::cli {

class Output;

/// Runs one command line, without the program's name in front. Everything that goes wrong ends
/// here, as lines on the error stream and the status; throws nothing.
ExitStatus runCommandLine(const std::vector<std::string>& arguments, Output& output);

}  // namespace tarn::cli
