#include "benchmarks/StorageServer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace tarn::benchmarks {

namespace {

constexpr std::uint16_t port = 47231;

std::filesystem::path makeFolder() {
    std::string name = (std::filesystem::current_path() / "loop-storage-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    return name;
}

std::string programBesideThis(const std::string& name) {
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / name).string();
}

pid_t start(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (auto& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    const int error =
        ::posix_spawn(&child, arguments[0], &files, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&files);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), words[0]);
    }
    return child;
}

}  // namespace

void StorageErrors::check() const {
    if (tarn_storage_error_get_type(error) != TARN_STORAGE_OK) {
        throw std::runtime_error(tarn_storage_error_get_message(error));
    }
}

StorageServer::StorageServer()
    : path(makeFolder()),
      child(start({programBesideThis("tarnLoopStorage"), "--directory", path / "tracks", "--unix",
                   socketPath(), "--tcp", "127.0.0.1:" + std::to_string(port)})) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!StorageConnection(tarn_storage_connection_create_uds(socketPath().c_str(), error))) {
        if (std::chrono::steady_clock::now() > deadline) {
            error.check();
        }
        ::poll(nullptr, 0, 5);
    }
}

StorageServer::~StorageServer() {
    ::kill(child, SIGTERM);
    ::waitpid(child, nullptr, 0);
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

StorageConnection StorageServer::connectUnix() const {
    StorageConnection connection(tarn_storage_connection_create_uds(socketPath().c_str(), error));
    error.check();
    return connection;
}

StorageConnection StorageServer::connectTcp() const {
    StorageConnection connection(tarn_storage_connection_create_tcp("127.0.0.1", port, 0, error));
    error.check();
    return connection;
}

}  // namespace tarn::benchmarks
