#include "benchmarks/StorageProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "service/devices/StorageConnection.h"

namespace tarn::benchmarks {

using service::devices::connectStorage;
using service::devices::StorageError;
using service::devices::StoragePointer;

namespace {

constexpr std::uint64_t trackSize = 65536;

std::filesystem::path newFolder() {
    std::string name = "/tmp/storage-benchmark-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    return name;
}

std::string besideThisProgram(const std::string& name) {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

void check(const StorageError& error) {
    if (error.isSet()) {
        throw std::runtime_error(error.message());
    }
}

}  // namespace

StorageProcess::StorageProcess() : folder(newFolder()) {
    start();
    awaitServing();
}

void StorageProcess::start() {
    std::vector<std::string> words = {besideThisProgram("tarnLoopStorage"), "--directory",
                                      (folder / "tracks").string(), "--unix", socketPath()};
    std::vector<char*> arguments;
    for (auto& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const int error =
        ::posix_spawn(&process, arguments[0], &files, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&files);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), words[0]);
    }
}

void StorageProcess::awaitServing() const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    StorageError error;
    while (!connectStorage({socketPath()}, error)) {
        if (std::chrono::steady_clock::now() > end) {
            throw std::runtime_error(error.message());
        }
        ::poll(nullptr, 0, 5);
    }
}

StorageProcess::~StorageProcess() {
    ::kill(process, SIGTERM);
    ::waitpid(process, nullptr, 0);
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void StorageProcess::growTo(std::size_t tracks) {
    StorageError error;
    const auto connection = connectStorage({socketPath()}, error);
    check(error);
    for (; created < tracks; ++created) {
        const auto id =
            tarn_storage_track_create(connection.get(), trackSize, 0, nullptr, error.get());
        check(error);
        const StoragePointer<tarn_storage_property_list> properties(
            tarn_storage_property_list_create());
        tarn_storage_property_list_set(properties.get(), "Name", std::to_string(created).c_str());
        tarn_storage_track_set_properties(connection.get(), id, properties.get(), error.get());
        check(error);
    }
}

}  // namespace tarn::benchmarks
