#include "tests/chaos/Chaos.h"

#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <iostream>
#include <set>
#include <sstream>
#include <utility>

#include "tests/chaos/observation/DeviceObservation.h"
#include "tests/chaos/observation/Observation.h"
#include "tests/support/Eventually.h"
#include "tests/system/harness/Installation.h"
#include "tests/system/harness/Processes.h"

namespace tarn::chaos {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int longestPauseMs = 150;
constexpr int usualActionsBeforeTour = 10;

// A launcher waits 10 s for a setup that never comes; a pipeline is given 11 s to end.
constexpr auto longestRest = 40s;
constexpr auto atRestFor = 3s;

// What is done takes a while until it is told everywhere.
constexpr auto longestDelay = 6s;
constexpr auto betweenLooks = 100;

std::set<std::string> idsOf(const std::vector<World::Stored>& files) {
    std::set<std::string> ids;
    for (const auto& file : files) {
        ids.insert(file.id.value_or("torn: " + file.file));
    }
    return ids;
}

}  // namespace

Chaos::Chaos(unsigned seed, const Places& places, std::vector<std::string> without)
    : random(seed),
      machine(places),
      largeDevice(machine.places()),
      follower(machine.places().published),
      updatesFollower(machine.places().published),
      diskTrack(machine.diskTrack(), machine.ownTracks().at(machine.diskTrack())),
      without(std::move(without)) {
    for (const auto& [track, size] : machine.ownTracks()) {
        book.created(track, size);
    }
}

bool Chaos::isWanted(const Action& action) const {
    return std::none_of(without.begin(), without.end(), [&](const std::string& part) {
        return std::string(action.name).find(part) != std::string::npos;
    });
}

bool Chaos::isPossible(const Action& action) const {
    switch (action.needs) {
        case Needs::ServiceUp:
            return machine.serviceIsUp();
        case Needs::ServiceDown:
            return !machine.serviceIsUp();
        case Needs::StorageUp:
            return machine.storage().isUp();
        case Needs::StorageDown:
            return !machine.storage().isUp();
        case Needs::BothUp:
            return machine.serviceIsUp() && machine.storage().isUp();
        case Needs::Capture:
            return hasCapture() && machine.serviceIsUp();
        case Needs::Nothing:
            break;
    }
    return true;
}

const Chaos::Action& Chaos::chooseAction() {
    std::vector<const Action*> possible;
    std::vector<unsigned> weights;
    for (const auto& action : actions()) {
        if (isWanted(action) && isPossible(action)) {
            possible.push_back(&action);
            weights.push_back(action.weight);
        }
    }
    return *possible[std::discrete_distribution<std::size_t>(weights.begin(),
                                                             weights.end())(random)];
}

void Chaos::perform(const Action& action) {
    ++counts[action.name];
    (this->*action.run)();
    lookAtFolder();
    checkProgramsLive();
    takeFrameProblems();
}

void Chaos::pause() {
    ::poll(nullptr, 0, static_cast<int>(below(longestPauseMs)));
}

// After a few others, so that there is something to happen to.
void Chaos::tour(const std::string& text) {
    machine.startService();
    for (int n = 0; n < usualActionsBeforeTour && found.empty(); ++n) {
        act();
    }
    for (const auto& action : actions()) {
        const bool wanted = action.frequency == Frequency::Seldom &&
                            std::string(action.name).find(text) != std::string::npos;
        const bool lacksCapture = action.needs == Needs::Capture && !hasCapture();
        if (wanted && isWanted(action) && !lacksCapture && found.empty()) {
            if (!machine.serviceIsUp()) {
                machine.startService();
            }
            if (!machine.storage().isUp()) {
                machine.storage().start();
            }
            perform(action);
        }
    }
}

void Chaos::runFor(std::chrono::seconds time) {
    const auto end = Clock::now() + time;
    if (!machine.serviceIsUp()) {
        machine.startService();
    }
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

void Chaos::checkProgramsLive() {
    if (machine.serviceIsUp() && !machine.service().isRunning()) {
        complain("the service ended by itself");
    }
    if (machine.storage().isUp() && !machine.storage().isRunning()) {
        complain("the loop storage ended by itself");
    }
    for (auto& companion : machine.companions()) {
        const auto ending = companion.run->waitForEnd(0ms);
        if (ending.how != test::Ending::How::StillRunning) {
            std::ostringstream how;
            how << ending;
            complain("ended by itself: " + companion.name + ": " + how.str());
        }
    }
}

void Chaos::takeFrameProblems() {
    for (const auto& problem : machine.frames().takeProblems()) {
        complain(problem);
    }
    for (const auto& problem : machine.readFrames().takeProblems()) {
        complain(problem);
    }
}

void Chaos::complain(const std::string& problem) {
    std::cerr << "problem: " << problem << std::endl;
    found.push_back(problem);
}

void Chaos::conclude() {
    machine.folder().free();
    if (!machine.storage().isUp()) {
        machine.storage().start();
    }
    machine.readFrames().finish();
    machine.frames().finish();
    takeFrameProblems();
    restartForTheEnd();
    if (hasCapture()) {
        awaitCapture("in the end");
    }
    compareWhenAtRest();
    compareFollower();
    stopEverything();
}

// What was killed comes back only with a new service.
void Chaos::restartForTheEnd() {
    if (machine.serviceIsUp()) {
        below(2) == 0 ? killService() : interruptService();
    }
    if (!test::eventually([this] { return gatewayIsThere(machine.places()); })) {
        complain("the gateway does not come back");
    }
    machine.startService();
    if (!machine.service().waitForLog("Persistent jobs regenerated (if any)")) {
        complain("the persistent jobs do not come back");
    }
}

void Chaos::compareWhenAtRest() {
    test::eventually([this] { return differences().empty(); }, longestRest);
    // And it stays so.
    std::vector<std::string> problems;
    const auto staysWrong = [&] {
        problems = lastingDifferences();
        return !problems.empty();
    };
    test::eventually(staysWrong, atRestFor);
    for (const auto& problem : problems) {
        complain(problem);
    }
    counts["jobs that run in the end"] = static_cast<std::int64_t>(launchers().size());
    for (const auto& [id, track] :
         machine.storage().tracks().value_or(std::map<std::int64_t, Track>())) {
        counts["readers and writers in the end"] +=
            static_cast<std::int64_t>(track.readers + track.writers);
    }
}

std::vector<std::string> Chaos::differences() {
    const auto world = observe(machine);
    auto problems = model.problemsWith(world);
    if (world.devices) {
        const auto ofTracks = book.problemsWith(world.devices->tracks);
        problems.insert(problems.end(), ofTracks.begin(), ofTracks.end());
    }
    return problems;
}

// A process is seen between two of its states now and then, and a tree is a little behind, so that
// only what is wrong at every look is wrong.
std::vector<std::string> Chaos::lastingDifferences() {
    auto lasting = differences();
    const auto end = Clock::now() + longestDelay;
    while (!lasting.empty() && Clock::now() < end) {
        ::poll(nullptr, 0, betweenLooks);
        const auto now = differences();
        std::erase_if(lasting, [&](const std::string& problem) {
            return std::find(now.begin(), now.end(), problem) == now.end();
        });
    }
    return lasting;
}

std::map<std::string, std::int64_t> Chaos::figures() const {
    auto all = counts;
    const auto frames = machine.frames().figures();
    all["frames that were acknowledged"] = frames.acknowledged;
    all["frames that were checked"] = static_cast<std::int64_t>(frames.checkedFrames);
    all["frames that were read while they were written"] = machine.readFrames().figures().frames;
    all["times that the reader of frames was overtaken"] = machine.readFrames().figures().overtaken;
    all["times that the frames were checked"] = frames.checks;
    all["tracks in the end that had to be there"] = static_cast<std::int64_t>(book.tracks().size());
    return all;
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
    endCapture();
    if (machine.storage().stop() != test::Ending::exited(0)) {
        complain("the loop storage did not end in order");
    }
    if (!test::eventually([] { return test::otherProcesses().empty(); })) {
        complain("left running: " + test::describe(test::otherProcesses()));
    }
    if (idsOf(machine.folder().stored()) != before) {
        complain("the stop changed the files of the persistent jobs");
    }
    if (machine.hasLogged("no element")) {
        complain("a pipeline was refused, so that nothing was tested with it");
    }
    counts["socket files of killed processes"] =
        static_cast<std::int64_t>(test::socketFiles().size());
}

}  // namespace tarn::chaos
