#pragma once

#include <string>

namespace tarn::peers {

class SetupProtocol;

/// The whole of a launcher program: options, becoming a process of its own, setup, job. `purpose`
/// is what its help says. Returns the exit status: 0 after a job that ended, 1 when none was set
/// up or it was refused, 2 for wrong options.
int runLauncher(int argc, char** argv, const std::string& purpose, const SetupProtocol& protocol);

}  // namespace tarn::peers
