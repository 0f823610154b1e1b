#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "tests/chaos/machine/Places.h"
#include "tests/chaos/model/World.h"
#include "tests/support/Process.h"

namespace tarn::chaos {

/// The loop storage server, which may be down. Its tracks outlive it.
class Storage {
  public:
    explicit Storage(const Places& places) : places(places) {}

    bool isUp() const { return run != nullptr; }
    /// Waits until it serves; throws std::runtime_error when it does not.
    void start();
    void killHard();
    /// Nothing when it was down.
    std::optional<test::Ending> stop();
    /// Also after it has ended by itself, as long as nobody has noticed.
    bool isRunning();
    void closeLog() { run->closeOutput(); }
    void signal(int number) const { run->signal(number); }
    pid_t id() const { return run ? run->id() : 0; }

    /// A new track; throws std::runtime_error.
    std::int64_t createTrack(std::uint64_t size) const;

    /// What it says itself; nothing when it does not answer.
    std::optional<std::map<std::int64_t, Track>> tracks() const;

    /// What its last run logged.
    std::string log() const { return run ? run->output().text() : std::string(); }

  private:
    const Places& places;
    std::unique_ptr<test::Process> run;
};

}  // namespace tarn::chaos
