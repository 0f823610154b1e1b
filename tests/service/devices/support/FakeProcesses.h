#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "service/devices/Pause.h"
#include "service/devices/capture/ProcessControl.h"

namespace tarn::test {

/// Processes that live and die as the test says. Thread-safe but for the setting up.
class FakeProcesses : public service::devices::ProcessControl {
  public:
    /// What a process is when nothing else was said: it runs and holds the endpoint.
    void become(pid_t id, State state);
    void holdsNothing(pid_t id);
    /// Whether it holds the endpoint cannot be shown.
    void isSeenByNobody(pid_t id);
    /// As by default.
    void holdsEverything(pid_t id);
    /// Another process gets the id.
    void isStartedAnew(pid_t id);
    /// Called when it is looked up who holds an endpoint.
    void onHolds(std::function<void()> action) { holdingLook = std::move(action); }

    /// Somebody listens on every endpoint for so many looks; for ever unless it is said.
    void isListenedToForLooks(int looks);
    int looksAtTheEndpoint() const;

    /// Called with each look at a process, counted from 1, before it.
    void onLook(std::function<void(int)> action) { look = std::move(action); }

    /// A killed process is gone after so many attempts; by default after the first.
    void resistsKills(int attempts) { resistance = attempts; }

    /// With what the waits for an end pass; without, they end at once.
    void waitWith(service::devices::Pause newPause) { pause = std::move(newPause); }

    int kills() const;
    std::vector<std::chrono::milliseconds> waits() const;

    os::ProcessIdentity identify(pid_t id) override;
    State stateOf(const os::ProcessIdentity& process) override;
    Holding holds(pid_t id, const socket::SocketEndpoint& endpoint) override;
    bool isListenedTo(const socket::SocketEndpoint& endpoint) override;
    bool kill(const os::ProcessIdentity& process) override;
    void awaitEnd(const os::ProcessIdentity& process, std::chrono::milliseconds duration,
                  const std::stop_token& stop) override;

  private:
    std::function<void(int)> look;
    std::function<void()> holdingLook;
    service::devices::Pause pause;
    int resistance = 1;

    mutable std::mutex mutex;
    // Guarded by mutex:
    std::map<pid_t, State> states;
    std::map<pid_t, Holding> holdings;
    std::map<pid_t, std::uint64_t> startTimes;
    std::optional<int> listeningLooks;
    int endpointLooks = 0;
    int looks = 0;
    int killed = 0;
    std::vector<std::chrono::milliseconds> waited;
};

}  // namespace tarn::test
