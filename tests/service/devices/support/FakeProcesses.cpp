#include "tests/service/devices/support/FakeProcesses.h"

namespace tarn::test {

void FakeProcesses::become(pid_t id, State state) {
    const std::lock_guard lock(mutex);
    states[id] = state;
}

void FakeProcesses::holdsNothing(pid_t id) {
    const std::lock_guard lock(mutex);
    holdings[id] = Holding::HoldsNot;
}

void FakeProcesses::isSeenByNobody(pid_t id) {
    const std::lock_guard lock(mutex);
    holdings[id] = Holding::Unknown;
}

void FakeProcesses::holdsEverything(pid_t id) {
    const std::lock_guard lock(mutex);
    holdings.erase(id);
}

void FakeProcesses::isStartedAnew(pid_t id) {
    const std::lock_guard lock(mutex);
    ++startTimes[id];
}

void FakeProcesses::isListenedToForLooks(int number) {
    const std::lock_guard lock(mutex);
    listeningLooks = number;
}

int FakeProcesses::looksAtTheEndpoint() const {
    const std::lock_guard lock(mutex);
    return endpointLooks;
}

int FakeProcesses::kills() const {
    const std::lock_guard lock(mutex);
    return killed;
}

std::vector<std::chrono::milliseconds> FakeProcesses::waits() const {
    const std::lock_guard lock(mutex);
    return waited;
}

FakeProcesses::ProcessIdentity FakeProcesses::identify(pid_t id) {
    const std::lock_guard lock(mutex);
    const auto found = states.find(id);
    const bool isGone = found != states.end() && found->second == State::Gone;
    return {id, isGone ? 0U : 1U + startTimes[id]};
}

FakeProcesses::State FakeProcesses::stateOf(const os::ProcessIdentity& process) {
    int count = 0;
    {
        const std::lock_guard lock(mutex);
        count = ++looks;
    }
    if (look) {
        look(count);
    }
    const std::lock_guard lock(mutex);
    const auto found = states.find(process.id);
    return found == states.end() ? State::Running : found->second;
}

FakeProcesses::Holding FakeProcesses::holds(pid_t id, const socket::SocketEndpoint&) {
    if (holdingLook) {
        holdingLook();
    }
    const std::lock_guard lock(mutex);
    const auto found = holdings.find(id);
    return found == holdings.end() ? Holding::Holds : found->second;
}

bool FakeProcesses::isListenedTo(const socket::SocketEndpoint&) {
    const std::lock_guard lock(mutex);
    ++endpointLooks;
    return !listeningLooks || endpointLooks <= *listeningLooks;
}

bool FakeProcesses::kill(const os::ProcessIdentity& process) {
    const std::lock_guard lock(mutex);
    if (++killed >= resistance) {
        states[process.id] = State::Gone;
    }
    return true;
}

void FakeProcesses::awaitEnd(const os::ProcessIdentity&, std::chrono::milliseconds duration,
                             const std::stop_token& stop) {
    {
        const std::lock_guard lock(mutex);
        waited.push_back(duration);
    }
    if (pause) {
        pause(duration, stop);
    }
}

}  // namespace tarn::test
