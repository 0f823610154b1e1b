#pragma once

#include <string>

#include "platform/os/FileDescriptor.h"

namespace tarn::os {

/// Tells of changes to a file: written, replaced, removed, made, given other permissions. It need
/// not be there; its folder has to be. One thread at a time.
class FileWatch {
  public:
    /// Throws std::system_error where there is no folder, or the kernel has no watch left.
    explicit FileWatch(const std::string& path);

    /// For poll: readable when something has changed in the folder.
    int descriptor() const { return input.get(); }

    /// Takes what has changed; whether the file may have.
    bool takeChange();

  private:
    const std::string name;
    FileDescriptor input;
};

}  // namespace tarn::os
