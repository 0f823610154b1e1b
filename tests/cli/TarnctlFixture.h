#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/ExitStatus.h"
#include "cli/output/Terminal.h"
#include "tests/cli/FakeService.h"

namespace tarn::cli {

/// What a command line came to.
struct CommandResult {
    ExitStatus status;
    std::string out;
    std::string err;
};

/// Runs a command line in this process; nothing is added to it.
CommandResult runLine(const std::vector<std::string>& arguments, Terminal terminal = {});

/// A fake service, and command lines that are meant for it.
class TarnctlFixture : public testing::Test {
  protected:
    /// The first exchange of messages in a process is a slow one, under a sanitizer slower than the
    /// short time-outs that some tests give.
    static void SetUpTestSuite();

    /// Runs in this process against the service, with a time-out of 10 s unless another is given.
    CommandResult tarnctl(std::vector<std::string> arguments);

    test::FakeService service;
};

inline const std::string firstId = "3f2a0c52-63a4-4b0e-9d0e-2f1b8a7c4d11";
inline const std::string secondId = "3f2b0c52-63a4-4b0e-9d0e-2f1b8a7c4d12";

}  // namespace tarn::cli
