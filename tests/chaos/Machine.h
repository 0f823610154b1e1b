#pragma once

#include <sys/types.h>

#include <deque>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/chaos/PersistentFolder.h"
#include "tests/system/Program.h"
#include "tests/system/Service.h"

namespace tarn::chaos {

/// A program beside the service that is killed and started again.
struct Companion {
    std::string name;
    std::vector<std::string> command;
    std::unique_ptr<test::Program> run = {};
};

/// The private machine with the server on it: the service, which may be down, its companions, and
/// the files they keep.
class Machine {
  public:
    /// Configures it and starts the companions, but no service.
    Machine();

    bool serviceIsUp() const { return up; }
    /// Starts it and waits until it serves; throws std::runtime_error when it does not.
    void startService();
    void killService();
    test::Ending interruptService();
    test::Service& service() { return *services.back(); }

    std::vector<Companion>& companions() { return others; }
    static void start(Companion& companion);
    static void killHard(Companion& companion);

    /// While the service is down.
    static void deleteRegistry();
    static void damageRegistry(std::mt19937& random);

    PersistentFolder& folder() { return jobs; }

    /// The processes of the service and its companions.
    std::vector<pid_t> programs() const;

    /// What the last runs of the service and all jobs logged, into files there.
    void saveLogs(const std::string& target) const;

  private:
    PersistentFolder jobs;
    std::vector<Companion> others;
    std::deque<std::unique_ptr<test::Service>> services;
    bool up = false;
};

}  // namespace tarn::chaos
