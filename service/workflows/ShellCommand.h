#pragma once

#include <chrono>
#include <string>

namespace tarn::service {

/// Runs `command` with /bin/sh and waits for the shell, 10 seconds at most (then it is killed): for
/// commands that end with " &". Unlike the C library's function it leaves the caller's signal
/// handling alone, and the command starts with default signal handlers and mask, the limit of
/// descriptors that this process was started with, no descriptors but the standard ones, and
/// nothing to read. Any thread.
/// Throws std::runtime_error when the shell cannot be started or had to be killed; what the command
/// itself does with its exit status is not looked at.
void runShellCommand(const std::string& command);

/// The same, and waits for the shell as long as `bound`.
void runShellCommandWithin(std::chrono::milliseconds bound, const std::string& command);

}  // namespace tarn::service
