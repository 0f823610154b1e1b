#include "tests/support/TemporaryFolder.h"

#include <stdlib.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace tarn::test {

namespace {

constexpr std::uint64_t enough = 1U << 30U;

// Tests also start programs that they wrote themselves.
bool isUsable(const char* folder) {
    struct statvfs is {};
    return ::statvfs(folder, &is) == 0 && is.f_bavail * is.f_frsize >= enough &&
           (is.f_flag & ST_NOEXEC) == 0 && ::access(folder, W_OK) == 0;
}

std::filesystem::path folderFor(Medium medium) {
    constexpr auto memory = "/dev/shm";
    return medium == Medium::Memory && isUsable(memory) ? memory
                                                        : std::filesystem::temp_directory_path();
}

}  // namespace

TemporaryFolder::TemporaryFolder(Medium medium) {
    std::string pattern = (folderFor(medium) / "tarn-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), pattern);
    }
    folder = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& content) const {
    const auto path = folder / name;
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path.string());
    }
    return path.string();
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace tarn::test
