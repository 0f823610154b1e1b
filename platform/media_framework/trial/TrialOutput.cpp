#include "platform/media_framework/trial/TrialOutput.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarn::media_framework {

namespace {

constexpr std::size_t most = std::size_t{16} << 10U;

os::FileDescriptor openMemory() {
    auto file = os::checkedDescriptor(
        ::memfd_create("plug-in trial", MFD_CLOEXEC | MFD_ALLOW_SEALING), "memfd_create");
    if (::ftruncate(file.get(), most) != 0 || ::fcntl(file.get(), F_ADD_SEALS, F_SEAL_GROW) != 0) {
        throw std::system_error(errno, std::generic_category(), "memfd");
    }
    return file;
}

}  // namespace

TrialOutput::TrialOutput() : file(openMemory()) {}

std::string TrialOutput::text() const {
    std::string content(most, '\0');
    const auto count = ::pread(file.get(), content.data(), content.size(), 0);
    content.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    content.resize(content.find_last_not_of(std::string_view("\0\n", 2)) + 1);
    return content;
}

}  // namespace tarn::media_framework
