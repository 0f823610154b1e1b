#include "tests/service/devices/FakeProcesses.h"

namespace tarn::test {

void FakeProcesses::become(pid_t id, State state) {
    const std::lock_guard lock(mutex);
    states[id] = state;
}

void FakeProcesses::holdsNothing(pid_t id) {
    const std::lock_guard lock(mutex);
    strangers.insert(id);
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
    return {id, isGone ? 0U : 1U};
}

FakeProcesses::State FakeProcesses::stateOf(const ProcessIdentity& process) {
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
    const std::lock_guard lock(mutex);
    return strangers.contains(id) ? Holding::HoldsNot : Holding::Holds;
}

bool FakeProcesses::kill(const ProcessIdentity& process) {
    const std::lock_guard lock(mutex);
    if (++killed >= resistance) {
        states[process.id] = State::Gone;
    }
    return true;
}

void FakeProcesses::awaitEnd(const ProcessIdentity&, std::chrono::milliseconds duration,
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
