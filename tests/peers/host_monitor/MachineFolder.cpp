#include "tests/peers/host_monitor/MachineFolder.h"

namespace tarn::test {

void MachineFolder::write(const std::string& path, const std::string& content) const {
    std::filesystem::create_directories((root() / path).parent_path());
    folder.write(path, content);
}

}  // namespace tarn::test
