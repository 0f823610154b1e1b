#include "tests/storage_sequences/Machine.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace tarn::storage_sequences {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using service::devices::connectStorage;
using service::devices::StorageAddress;
using service::devices::StorageError;

namespace {

constexpr auto bootIdFile = "/proc/sys/kernel/random/boot_id";
constexpr std::uint64_t diskSize = 64U << 20U;
constexpr unsigned failedSyncLuck = 2;  // half of it has reached the disk
constexpr auto longestStart = 30s;
constexpr auto longestEnd = 30s;

void check(int result, const char* what) {
    if (result != 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

fs::path folderIn(const fs::path& folder, const char* name) {
    fs::create_directories(folder / name);
    return folder / name;
}

}  // namespace

Boots::Boots(const fs::path& folder) : file(folder / "boot-id") {
    check(::unshare(CLONE_NEWNS), "A mount namespace");
    check(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "Private mounts");
    next();
    check(::mount(file.c_str(), bootIdFile, nullptr, MS_BIND, nullptr), bootIdFile);
}

void Boots::next() {
    std::string digits = std::to_string(++count);
    digits.insert(0, 8 - digits.size(), '0');
    std::ofstream(file) << digits << "-1111-4111-8111-111111111111\n";
}

Machine::Machine(const Places& places, Boots& boots, std::uint64_t seed)
    : places(places),
      boots(boots),
      plates(diskSize),
      mount(plates, folderIn(places.folder, "tracks"), failing_disk::oneIn(failedSyncLuck, seed)) {}

StorageAddress Machine::unixAddress() const {
    return {.address = places.folder / "socket"};
}

StorageAddress Machine::tcpAddress() const {
    return {.address = "127.0.0.1", .port = places.port};
}

void Machine::launchServer() {
    server = std::make_unique<test::Process>(std::vector<std::string>{
        places.server, "--directory", places.folder / "tracks", "--unix", unixAddress().address,
        "--tcp", "127.0.0.1:" + std::to_string(places.port)});
}

void Machine::startServer() {
    launchServer();
    const auto end = std::chrono::steady_clock::now() + longestStart;
    for (StorageError error; !connectStorage(unixAddress(), error); ::poll(nullptr, 0, 1)) {
        if (std::chrono::steady_clock::now() > end || !isUp()) {
            throw std::runtime_error("the server does not serve: " + error.message());
        }
    }
}

void Machine::strike() const {
    server->signal(SIGKILL);
}

void Machine::kill() {
    strike();
    plates.faults().clear();
    if (server->waitForEnd(longestEnd).how == test::Ending::How::StillRunning) {
        throw std::runtime_error("the server does not die");
    }
    logs += server->output().text() + "-- killed\n";
    server.reset();
}

test::Ending Machine::stop() {
    server->signal(SIGTERM);
    const auto ending = server->waitForEnd(longestEnd);
    logs += server->output().text() + "-- stopped\n";
    server.reset();
    return ending;
}

bool Machine::isUp() {
    return server && server->waitForEnd(0ms).how == test::Ending::How::StillRunning;
}

void Machine::losePower(const failing_disk::Luck& hasReached) {
    plates.losePower(hasReached);
    boots.next();
    logs += "-- power lost\n";
}

void Machine::reboot() {
    plates.losePower(failing_disk::always());
    boots.next();
    logs += "-- rebooted\n";
}

std::string Machine::log() const {
    return logs + (server ? server->output().text() : std::string());
}

}  // namespace tarn::storage_sequences
