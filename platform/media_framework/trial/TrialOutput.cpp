#include "platform/media_framework/trial/TrialOutput.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarn::media_framework {

namespace {

constexpr std::size_t most = std::size_t{16} << 10U;

int openMemory() {
    const int file = ::memfd_create("plug-in trial", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (file < 0) {
        throw std::system_error(errno, std::generic_category(), "memfd_create");
    }
    return file;
}

}  // namespace

TrialOutput::TrialOutput() : file(openMemory()) {
    if (::ftruncate(file, most) != 0 || ::fcntl(file, F_ADD_SEALS, F_SEAL_GROW) != 0) {
        const int reason = errno;
        ::close(file);
        throw std::system_error(reason, std::generic_category(), "memfd");
    }
}

TrialOutput::~TrialOutput() {
    ::close(file);
}

std::string TrialOutput::text() const {
    std::string content(most, '\0');
    const auto count = ::pread(file, content.data(), content.size(), 0);
    content.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    content.resize(content.find_last_not_of(std::string_view("\0\n", 2)) + 1);
    return content;
}

}  // namespace tarn::media_framework
