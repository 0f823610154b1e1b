#include "benchmarks/support/StorageServer.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "platform/os/FileDescriptor.h"
#include "platform/tls/CertifiedKey.h"
#include "tests/support/Eventually.h"
#include "tests/support/Spawn.h"

namespace tarn::benchmarks {

namespace {

constexpr std::uint16_t port = 47231;
constexpr std::uint16_t encryptedPort = 47232;

std::filesystem::path makeFolder() {
    std::string name = (std::filesystem::current_path() / "loop-storage-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    return name;
}

pid_t startSilently(const std::vector<std::string>& command) {
    const os::FileDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    return test::spawn(command, {.err = nowhere.get()});
}

}  // namespace

void StorageErrors::check() const {
    if (tarn_storage_error_get_type(error) != TARN_STORAGE_OK) {
        throw std::runtime_error(tarn_storage_error_get_message(error));
    }
}

StorageServer::StorageServer(Tcp tcp)
    : path(makeFolder()), tcp(tcp), child(startSilently(command())) {
    const auto answers = [this] {
        return StorageConnection(tarn_storage_connection_create_uds(socketPath().c_str(), error)) !=
               nullptr;
    };
    if (!test::eventually(answers)) {
        error.check();
    }
}

std::vector<std::string> StorageServer::command() {
    const auto number = tcp == Tcp::Plain ? port : encryptedPort;
    std::vector<std::string> words{test::builtProgram("tarnLoopStorage"),
                                   "--directory",
                                   path / "tracks",
                                   "--unix",
                                   socketPath(),
                                   "--tcp",
                                   "127.0.0.1:" + std::to_string(number)};
    if (tcp == Tcp::Encrypted) {
        const auto now = std::chrono::system_clock::now();
        const auto key =
            tls::generateCertifiedKey("benchmark", {now, now + std::chrono::hours(24)});
        tls::writeCertifiedKeyFile(path / "key", key);
        std::ofstream(path / "clients") << "admin " << key.fingerprint << " benchmark\n";
        fingerprint = key.fingerprint;
        words.insert(words.end(),
                     {"--certificate", path / "key", "--client-certificates", path / "clients"});
    }
    return words;
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
    StorageConnection connection(
        tcp == Tcp::Plain
            ? tarn_storage_connection_create_tcp("127.0.0.1", port, 0, error)
            : tarn_storage_connection_create_tls("127.0.0.1", encryptedPort, (path / "key").c_str(),
                                                 fingerprint.c_str(), 0, error));
    error.check();
    return connection;
}

}  // namespace tarn::benchmarks
