#pragma once

#include <chrono>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/chaos/Machine.h"
#include "tests/chaos/Model.h"
#include "tests/system/Api.h"

namespace tarn::chaos {

/// Does one thing after the other at random, tells the model of it, and compares in the end.
class Chaos {
  public:
    explicit Chaos(unsigned seed);

    void runFor(std::chrono::seconds time);

    /// Lets everything come to rest under a new service, compares, and stops it all.
    void conclude();

    /// What was wrong, one line each.
    const std::vector<std::string>& problems() const { return found; }

    /// How often each thing was done.
    const std::map<std::string, unsigned>& figures() const { return counts; }
    const Model& expectation() const { return model; }
    const Machine& place() const { return machine; }

  private:
    enum class Needs { Nothing, ServiceUp, ServiceDown };
    struct Action {
        const char* name;
        unsigned weight;
        Needs needs;
        void (Chaos::*run)();
    };
    static const std::vector<Action>& actions();

    const Action& chooseAction();
    bool isPossible(const Action& action) const;
    void act();
    void pause();
    std::size_t below(std::size_t limit) { return random() % limit; }

    // The actions: ChaosActions.cpp.
    void submit();
    void submitAndKillService();
    void stopAJob();
    void lookAtJobs();
    void killService();
    void killServiceOften();
    void interruptService();
    void startService();
    void killCompanion();
    void killLauncher();
    void killPipeline();
    void deleteRegistry();
    void damageRegistry();
    void fillDisk();
    void freeDisk();

    Order newOrder();
    test::JobOrder submissionOf(const Order& order) const;
    void lookAt(const test::JobAddress& job);
    void lookAtFolder();
    void checkServiceLives();
    void restartForTheEnd();
    void compareWhenAtRest();
    void stopEverything();
    void complain(const std::string& problem);

    std::mt19937 random;
    Machine machine;
    Model model;
    unsigned submissions = 0;
    std::map<std::string, unsigned> counts;
    std::vector<std::string> found;
};

}  // namespace tarn::chaos
