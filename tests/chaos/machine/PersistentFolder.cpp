#include "tests/chaos/machine/PersistentFolder.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "proto/service_job.pb.h"

namespace tarn::chaos {

namespace fs = std::filesystem;
using proto::service_job::ServiceToJobRequest;
using proto::service_job::ServiceToJobRequestSetup;

namespace {

constexpr auto size = "size=256k";
const std::string ballastFolder = std::string(PersistentFolder::path) + "/ballast";
const std::string ballast = ballastFolder + "/ballast";

void check(bool good, const std::string& what) {
    if (!good) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

// Nothing when it was removed or replaced since the folder was read.
std::optional<World::Stored> storedIn(const fs::path& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return std::nullopt;
    }
    ServiceToJobRequest request;
    const bool parsed = request.ParseFromFileDescriptor(descriptor);
    ::close(descriptor);
    const auto& id =
        request.GetExtension(ServiceToJobRequestSetup::base).job_description().job_id();
    World::Stored stored{path.filename().string(), std::nullopt};
    if (parsed && !id.empty()) {
        stored.id = id;
    }
    return stored;
}

}  // namespace

PersistentFolder::PersistentFolder() {
    fs::create_directories(path);
    check(::mount("chaos", path, "tmpfs", 0, size) == 0, path);
    fs::create_directories(ballastFolder);
}

void PersistentFolder::fill() {
    const int file = ::open(ballast.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    check(file >= 0, ballast);
    const std::string block(4096, '.');
    while (::write(file, block.data(), block.size()) > 0) {
    }
    ::close(file);
    full = true;
}

void PersistentFolder::free() {
    fs::remove(ballast);
    full = false;
}

std::vector<World::Stored> PersistentFolder::stored() const {
    std::vector<World::Stored> files;
    for (const auto& entry : fs::directory_iterator(path)) {
        std::error_code gone;
        if (!entry.is_regular_file(gone)) {
            continue;
        }
        if (auto file = storedIn(entry.path())) {
            files.push_back(std::move(*file));
        }
    }
    return files;
}

}  // namespace tarn::chaos
