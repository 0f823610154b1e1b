#include "tests/chaos/machine/StorageDisk.h"

#include <filesystem>
#include <iostream>

#include "tests/failing_disk/Chances.h"

namespace tarn::chaos {

namespace {

constexpr std::uint64_t diskSize = 128U << 20U;

}  // namespace

StorageDisk::StorageDisk() : plates(diskSize) {
    std::filesystem::create_directories(folder);
    std::string reason;
    if (failing_disk::Mount::isPossible(reason)) {
        mount = std::make_unique<failing_disk::Mount>(plates, folder, failing_disk::never());
    } else {
        std::cout << "the disk of the loop storage does not fail: " << reason << std::endl;
    }
}

std::string StorageDisk::pathOfData(std::int64_t track) const {
    const auto name = "track-" + std::to_string(track);
    for (const auto& [file, attributes] : plates.list(plates.at(name))) {
        if (file.starts_with("data.")) {
            return name + "/" + file;
        }
    }
    return name + "/data";
}

}  // namespace tarn::chaos
