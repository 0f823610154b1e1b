#include "platform/os/FileDescriptor.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarn::os {

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
        close();
        descriptor = std::exchange(other.descriptor, -1);
    }
    return *this;
}

void FileDescriptor::close() {
    if (descriptor >= 0) {
        ::close(std::exchange(descriptor, -1));
    }
}

FileDescriptor checkedDescriptor(int descriptor, const char* what) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return FileDescriptor(descriptor);
}

}  // namespace tarn::os
