#pragma once

#include <utility>

namespace tarn::os {

/// Owns one open descriptor, or none (-1).
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor(descriptor) {}
    ~FileDescriptor() { close(); }
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor(std::exchange(other.descriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;

    int get() const { return descriptor; }
    bool isOpen() const { return descriptor >= 0; }
    void close();

  private:
    int descriptor = -1;
};

/// The descriptor, when it is one; throws std::system_error with `what` from errno when it is -1.
FileDescriptor checkedDescriptor(int descriptor, const char* what);

}  // namespace tarn::os
