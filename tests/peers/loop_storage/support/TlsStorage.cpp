#include "tests/peers/loop_storage/support/TlsStorage.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace tarn::test {

namespace {

constexpr std::chrono::hours yesterday{-24};
constexpr std::chrono::hours tomorrow{24};

}  // namespace

TlsStorage::TlsStorage() {
    generate("server");
    list("# nobody yet\n");
    server = std::make_unique<StorageProgram>(std::vector<std::string>{
        "--certificate", file("server"), "--client-certificates", file("clients")});
    StorageClient control(server->socketPath());
    if (control.create(trackSize) != 0 || control.create(trackSize) != 1) {
        throw std::runtime_error("no tracks: " + control.errorMessage());
    }
}

std::string TlsStorage::generate(const std::string& name) {
    return generate(name, yesterday, tomorrow);
}

std::string TlsStorage::generate(const std::string& name, std::chrono::hours begin,
                                 std::chrono::hours end) {
    const auto now = std::chrono::system_clock::now();
    const auto key = tls::generateCertifiedKey(name, {.begin = now + begin, .end = now + end});
    tls::writeCertifiedKeyFile(file(name), key);
    fingerprints[name] = key.fingerprint;
    return key.fingerprint;
}

// As an editor does it: whoever reads meanwhile sees the old list or the new one.
void TlsStorage::list(const std::string& lines) const {
    std::ofstream(file("clients.new")) << lines;
    std::filesystem::rename(file("clients.new"), file("clients"));
}

std::string TlsStorage::line(const std::string& level, const std::string& name,
                             const std::string& tracks) const {
    return level + " " + fingerprints.at(name) + " " + name + " " + tracks + "\n";
}

TlsAddress TlsStorage::as(const std::string& name) const {
    return {.port = port(), .certificate = file(name), .fingerprint = fingerprints.at("server")};
}

}  // namespace tarn::test
