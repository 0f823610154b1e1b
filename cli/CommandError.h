#pragma once

#include <chrono>
#include <stdexcept>
#include <string>

#include "cli/ExitStatus.h"

namespace tarn::cli {

/// The one way in which a command fails: a line for the operator and the exit status.
class CommandError : public std::runtime_error {
  public:
    CommandError(ExitStatus status, const std::string& text)
        : std::runtime_error(text), exitStatus(status) {}

    ExitStatus status() const { return exitStatus; }

  private:
    ExitStatus exitStatus;
};

/// "no answer from <endpoint> within <bound> s".
CommandError noAnswer(const std::string& endpoint, std::chrono::milliseconds bound);

}  // namespace tarn::cli
