#include "fuzz/support/PrivateFolder.h"

#include <cstdlib>
#include <fstream>

#include "fuzz/support/Require.h"

namespace tarn::fuzz {

PrivateFolder::PrivateFolder() {
    std::string pattern = "/dev/shm/tarn-fuzz-XXXXXX";
    require(::mkdtemp(pattern.data()) != nullptr);
    folder = pattern;
}

PrivateFolder::~PrivateFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::string PrivateFolder::write(const std::string& name, const std::string& content) const {
    const auto file = pathOf(name);
    std::ofstream(file, std::ios::binary) << content;
    return file;
}

}  // namespace tarn::fuzz
