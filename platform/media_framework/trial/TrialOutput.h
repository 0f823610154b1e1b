#pragma once

#include <string>

namespace tarn::media_framework {

/// Takes what a process writes, up to a bound; what is beyond it the process cannot write. Nobody
/// has to read meanwhile.
class TrialOutput {
  public:
    /// Throws std::system_error.
    TrialOutput();
    ~TrialOutput();
    TrialOutput(const TrialOutput&) = delete;
    TrialOutput& operator=(const TrialOutput&) = delete;

    int descriptor() const { return file; }

    /// What was written so far, without line breaks at its end.
    std::string text() const;

  private:
    const int file;
};

}  // namespace tarn::media_framework
