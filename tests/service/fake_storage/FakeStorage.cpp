#include "tests/service/fake_storage/FakeStorage.h"

#include <chrono>
#include <stdexcept>

#include "tests/service/fake_storage/FakeNetwork.h"

namespace tarn::test {

FakeStorage::FakeStorage(const std::string& path) : FakeStorage(path, 0) {}

FakeStorage::FakeStorage(const std::string& host, std::uint16_t port)
    : place(FakeNetwork::place(host, port)) {
    FakeNetwork::enter(place, *this);
}

FakeStorage::~FakeStorage() {
    FakeNetwork::leave(place);
}

std::int64_t FakeStorage::has(const Track& track) {
    const std::lock_guard lock(mutex);
    state.tracks.emplace(state.nextTrack, track);
    return state.nextTrack++;
}

void FakeStorage::has(const tarn_storage_worker_info& worker) {
    const std::lock_guard lock(mutex);
    state.workers.push_back(worker);
}

void FakeStorage::hasSpace(std::int64_t bytes) {
    const std::lock_guard lock(mutex);
    state.space = bytes;
}

void FakeStorage::hasTicket(std::int64_t ticket, int ticketState) {
    const std::lock_guard lock(mutex);
    state.tickets[ticket] = ticketState;
}

void FakeStorage::goesDown() {
    const std::lock_guard lock(mutex);
    state.down = true;
}

void FakeStorage::comesBack() {
    const std::lock_guard lock(mutex);
    state.down = false;
}

void FakeStorage::fails(const std::string& function, const std::string& message) {
    const std::lock_guard lock(mutex);
    state.failures[function] = message;
}

void FakeStorage::worksAgain(const std::string& function) {
    const std::lock_guard lock(mutex);
    state.failures.erase(function);
}

void FakeStorage::resizesTo(std::uint64_t bytes) {
    const std::lock_guard lock(mutex);
    state.resizedTo = bytes;
}

void FakeStorage::operationsTake(std::chrono::milliseconds time) {
    const std::lock_guard lock(mutex);
    state.operationsTake = time;
}

void FakeStorage::holdsOperations() {
    for (const char* const operation : {"create", "resize", "destroy"}) {
        holds(std::string("tarn_storage_track_") + operation);
    }
}

void FakeStorage::holds(const std::string& function) {
    const std::lock_guard lock(mutex);
    state.holds.insert(function);
}

void FakeStorage::letsGo() {
    const std::lock_guard lock(mutex);
    state.holds.clear();
    changed.notify_all();
}

void FakeStorage::awaitHeld(unsigned count) {
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, std::chrono::seconds(20), [&] { return state.held >= count; })) {
        throw std::runtime_error("only " + std::to_string(state.held) + " operations came");
    }
}

bool FakeStorage::waitWhileHeld(const std::string& function, std::unique_lock<std::mutex>& lock,
                                const bool& interrupted) {
    const auto mayGo = [&] { return !state.holds.contains(function) || interrupted; };
    if (!mayGo()) {
        ++state.held;
        changed.notify_all();
        changed.wait(lock, mayGo);
        --state.held;
    }
    return !interrupted;
}

void FakeStorage::interrupt(bool& interrupted) {
    const std::lock_guard lock(mutex);
    interrupted = true;
    changed.notify_all();
}

std::map<std::int64_t, FakeStorage::Track> FakeStorage::tracks() {
    const std::lock_guard lock(mutex);
    return state.tracks;
}

unsigned FakeStorage::openConnections() {
    const std::lock_guard lock(mutex);
    return state.openConnections;
}

unsigned FakeStorage::connectionsMade() {
    const std::lock_guard lock(mutex);
    return state.connectionsMade;
}

}  // namespace tarn::test
