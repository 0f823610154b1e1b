#include "tests/support/TemporaryFolder.h"

#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace tarn::test {

namespace {

constexpr std::uintmax_t enough = 1U << 30U;

std::filesystem::path folderFor(Medium medium) {
    const std::filesystem::path memory = "/dev/shm";
    std::error_code unknown;
    const auto space = std::filesystem::space(memory, unknown);
    const bool isUsable =
        !unknown && space.available >= enough && ::access(memory.c_str(), W_OK) == 0;
    return medium == Medium::Memory && isUsable ? memory : std::filesystem::temp_directory_path();
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
