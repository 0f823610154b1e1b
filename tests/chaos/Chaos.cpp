#include "tests/chaos/Chaos.h"

#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <iostream>
#include <set>
#include <utility>

#include "tests/chaos/Observation.h"
#include "tests/system/Eventually.h"
#include "tests/system/Installation.h"
#include "tests/system/Processes.h"

namespace tarn::chaos {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int longestPauseMs = 150;

// A launcher waits 10 s for a setup that never comes; a pipeline is given 11 s to end.
constexpr auto longestRest = 40s;
constexpr auto atRestFor = 3s;

std::set<std::string> idsOf(const std::vector<World::Stored>& files) {
    std::set<std::string> ids;
    for (const auto& file : files) {
        ids.insert(file.id.value_or("torn: " + file.file));
    }
    return ids;
}

}  // namespace

Chaos::Chaos(unsigned seed) : random(seed) {}

bool Chaos::isPossible(const Action& action) const {
    return action.needs == Needs::Nothing ||
           (action.needs == Needs::ServiceUp) == machine.serviceIsUp();
}

const Chaos::Action& Chaos::chooseAction() {
    std::vector<const Action*> possible;
    std::vector<unsigned> weights;
    for (const auto& action : actions()) {
        if (isPossible(action)) {
            possible.push_back(&action);
            weights.push_back(action.weight);
        }
    }
    return *possible[std::discrete_distribution<std::size_t>(weights.begin(),
                                                             weights.end())(random)];
}

void Chaos::act() {
    const auto& action = chooseAction();
    ++counts[action.name];
    (this->*action.run)();
    lookAtFolder();
    checkServiceLives();
}

void Chaos::pause() {
    ::poll(nullptr, 0, static_cast<int>(below(longestPauseMs)));
}

void Chaos::runFor(std::chrono::seconds time) {
    const auto end = Clock::now() + time;
    machine.startService();
    while (Clock::now() < end && found.empty()) {
        act();
        pause();
    }
}

void Chaos::lookAtFolder() {
    for (const auto& stored : machine.folder().stored()) {
        if (!stored.id) {
            complain("torn: " + stored.file);
        } else {
            model.sawFile(*stored.id);
        }
    }
}

void Chaos::checkServiceLives() {
    if (machine.serviceIsUp() && !machine.service().isRunning()) {
        complain("the service ended by itself");
    }
}

void Chaos::complain(const std::string& problem) {
    std::cerr << "problem: " << problem << std::endl;
    found.push_back(problem);
}

void Chaos::conclude() {
    machine.folder().free();
    restartForTheEnd();
    compareWhenAtRest();
    stopEverything();
}

// What was killed comes back only with a new service.
void Chaos::restartForTheEnd() {
    if (machine.serviceIsUp()) {
        below(2) == 0 ? killService() : interruptService();
    }
    machine.startService();
    if (!machine.service().waitForLog("Persistent jobs regenerated (if any)")) {
        complain("the persistent jobs do not come back");
    }
}

void Chaos::compareWhenAtRest() {
    std::vector<std::string> problems;
    const auto look = [&] {
        problems = model.problemsWith(observe(machine.folder(), machine.programs()));
        return problems.empty();
    };
    test::eventually(look, longestRest);
    // And it stays so. A process is seen between two of its states now and then, so that only what
    // is still wrong at a second look is wrong.
    const auto staysWrong = [&] {
        if (look()) {
            return false;
        }
        const auto first = std::exchange(problems, {});
        look();
        std::erase_if(problems, [&](const std::string& problem) {
            return std::find(first.begin(), first.end(), problem) == first.end();
        });
        return !problems.empty();
    };
    test::eventually(staysWrong, atRestFor);
    for (const auto& problem : problems) {
        complain(problem);
    }
    counts["jobs that run in the end"] = static_cast<unsigned>(launchers().size());
}

void Chaos::stopEverything() {
    const auto before = idsOf(machine.folder().stored());
    if (machine.interruptService() != test::Ending::exited(0)) {
        complain("the service did not end in order");
    }
    for (auto& companion : machine.companions()) {
        companion.run->signal(SIGTERM);
        if (companion.run->waitForEnd(10s) != test::Ending::exited(0)) {
            complain(companion.name + " did not end in order");
        }
    }
    if (!test::eventually([] { return test::otherProcesses().empty(); })) {
        complain("left running: " + test::describe(test::otherProcesses()));
    }
    if (idsOf(machine.folder().stored()) != before) {
        complain("the stop changed the files of the persistent jobs");
    }
    counts["socket files of killed processes"] = static_cast<unsigned>(test::socketFiles().size());
}

}  // namespace tarn::chaos
