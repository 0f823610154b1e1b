#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <vector>

#include "service/devices/Pause.h"
#include "service/devices/ProcessControl.h"

namespace tarn::test {

/// Processes that live and die as the test says. Thread-safe but for the setting up.
class FakeProcesses : public service::devices::ProcessControl {
  public:
    /// What a process is when nothing else was said: it runs and holds the endpoint.
    void become(pid_t id, State state);
    void holdsNothing(pid_t id);

    /// Called with each look at a process, counted from 1, before it.
    void onLook(std::function<void(int)> action) { look = std::move(action); }

    /// A killed process is gone after so many attempts; by default after the first.
    void resistsKills(int attempts) { resistance = attempts; }

    /// With what the waits for an end pass; without, they end at once.
    void waitWith(service::devices::Pause newPause) { pause = std::move(newPause); }

    int kills() const;
    std::vector<std::chrono::milliseconds> waits() const;

    ProcessIdentity identify(pid_t id) override;
    State stateOf(const ProcessIdentity& process) override;
    Holding holds(pid_t id, const socket::SocketEndpoint& endpoint) override;
    bool kill(const ProcessIdentity& process) override;
    void awaitEnd(const ProcessIdentity& process, std::chrono::milliseconds duration,
                  const std::stop_token& stop) override;

  private:
    std::function<void(int)> look;
    service::devices::Pause pause;
    int resistance = 1;

    mutable std::mutex mutex;
    // Guarded by mutex:
    std::map<pid_t, State> states;
    std::set<pid_t> strangers;
    int looks = 0;
    int killed = 0;
    std::vector<std::chrono::milliseconds> waited;
};

}  // namespace tarn::test
