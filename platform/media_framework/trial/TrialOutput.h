#pragma once

#include <string>

#include "platform/os/FileDescriptor.h"

namespace tarn::media_framework {

/// Takes what a process writes, up to a bound; what is beyond it the process cannot write. Nobody
/// has to read meanwhile.
class TrialOutput {
  public:
    /// Throws std::system_error.
    TrialOutput();

    int descriptor() const { return file.get(); }

    /// What was written so far, without line breaks at its end.
    std::string text() const;

  private:
    const os::FileDescriptor file;
};

}  // namespace tarn::media_framework
