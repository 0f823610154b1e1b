#pragma once

namespace tarn::service {

/// Parses the command line. When help was asked for, prints it to standard output and returns true.
/// Throws for anything that is not an option of the service.
bool printHelpIfAskedFor(int argc, const char* const* argv);

}  // namespace tarn::service
