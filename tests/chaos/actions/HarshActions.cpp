// What takes longer than the other things that happen: each looks at its end whether all is well.
#include <poll.h>
#include <signal.h>

#include <functional>
#include <utility>

#include "tests/chaos/Chaos.h"
#include "tests/chaos/actions/ComingUp.h"
#include "tests/chaos/machine/IdleConnections.h"
#include "tests/chaos/observation/DeviceObservation.h"
#include "tests/chaos/observation/Observation.h"
#include "tests/support/Eventually.h"
#include "tests/support/MachineTime.h"
#include "tests/system/harness/Job.h"
#include "tests/system/harness/JobCommands.h"

namespace tarn::chaos {

namespace {

using namespace std::chrono_literals;
using test::JobCommands;
using Clock = std::chrono::steady_clock;

// More batches, each with the whole tree, than fit on their way to a gateway that takes none.
constexpr int changesWhileHalted = 60;
// A batch that finds no room is given up after a second.
constexpr auto untilGivenUp = 1200ms;
// Batches are sent once a second; devices that are silent for 5 s are taken for lost.
constexpr auto longestSilence = 3200ms;
// And so are they by those who use them.
constexpr auto usersAreSurelyPatient = 4700ms;
// On a machine on which so much less of that was had, the followers may be told later.
constexpr auto leastOfIt = 500ms;

constexpr int resubmissions = 6;
constexpr auto goesWithin = 20s;

// More than a program under the limit of Machine can hold.
constexpr std::size_t manyConnections = 700;

}  // namespace

// A service that has found no gateway at its start tells nobody, ever.
bool Chaos::followerIsTold() {
    const auto before = follower.batches();
    return test::eventually([&] { return follower.batches() > before + 1; });
}

std::vector<std::string> Chaos::differencesOfFollower() const {
    const auto served = servedDescriptions(machine.places());
    if (!served) {
        return {"the tree was not told"};
    }
    auto problems = updatesFollower.problems();
    for (const auto& devices : {follower.devices(), updatesFollower.devices()}) {
        const auto more = followerProblems(*served, devices);
        problems.insert(problems.end(), more.begin(), more.end());
    }
    return problems;
}

// Only while nothing changes: a change brings the whole tree again, and hides what was lost.
void Chaos::awaitFollower() {
    const auto latest = Clock::now() + longestSilence;
    const test::MachineTime time;
    auto problems = differencesOfFollower();
    while (!problems.empty() && Clock::now() < latest) {
        ::poll(nullptr, 0, 20);
        problems = differencesOfFollower();
    }
    if (problems.empty()) {
        ++counts["times that the trees of the followers were that of the service"];
        counts["differences that a follower has applied"] =
            static_cast<std::int64_t>(updatesFollower.differences());
    } else if (time.elapsed() < leastOfIt) {
        ++counts["times that the machine was too busy to compare the tree of the follower"];
    } else {
        complain(problems.front());
    }
}

// While nothing changes but what `before` does.
void Chaos::compareFollowerAfter(const std::function<void()>& before) {
    machine.haltChanges();
    const auto begin = Clock::now();
    before();
    awaitFollower();
    machine.continueChanges();
    if (Clock::now() - begin > usersAreSurelyPatient) {
        model.storageHeldUp();
    }
}

void Chaos::compareFollower() {
    if (!followerIsTold()) {
        ++counts["times that nobody told the follower"];
        return;
    }
    compareFollowerAfter([] {});
}

void Chaos::haltGateway() {
    if (!followerIsTold()) {
        ++counts["times that nobody told the follower"];
        return;
    }
    machine.gateway().run->signal(SIGSTOP);
    largeDevice.stir(changesWhileHalted);
    compareFollowerAfter([&] {
        ::poll(nullptr, 0, static_cast<int>(untilGivenUp.count()));
        machine.gateway().run->signal(SIGCONT);
    });
}

std::optional<test::JobAddress> Chaos::submitAndAwait(const Order& order, test::Api& client,
                                                      ComingUp& comingUp) {
    model.submitted(order);
    const auto job = client.submit(submissionOf(order));
    if (!job) {
        complain("a submission was not answered");
        return std::nullopt;
    }
    if (!comingUp.await(*job)) {
        return std::nullopt;
    }
    lookAt(*job);
    return job;
}

bool Chaos::endAndAwait(const test::JobAddress& job, test::Api& client) {
    const bool taken = JobCommands(job.commandEndpoint).destroy(JobCommands::End::ForGood);
    model.stopped(job.id, Model::End::ForGood, taken ? Model::Answer::Taken : Model::Answer::None);
    if (!taken) {
        return false;
    }
    const auto isGone = [&] {
        const auto found = client.job(job.id);
        return found && !found->has_running_job();
    };
    if (!test::eventually(isGone, goesWithin)) {
        complain("ended, and listed still: " + job.id);
        return false;
    }
    return true;
}

void Chaos::resubmitAtOnce() {
    auto order = newOrder();
    order.kind = Kind::Endless;
    order.worker.clear();
    test::Api client(machine.places().requests);
    ComingUp first(machine, order);
    auto job = submitAndAwait(order, client, first);
    for (int n = 0; n < resubmissions && job; ++n) {
        // A job lets one who listens have its last event before it goes.
        const test::Job listener(*job);
        if (!endAndAwait(*job, client)) {
            return;
        }
        ComingUp again(machine, order);
        job = submitAndAwait(order, client, again);
        if (!job) {
            tellOfOneThatIsNotUp(again);
        }
    }
}

void Chaos::tellOfOneThatIsNotUp(const ComingUp& job) {
    if (job.hadTooLittleTime()) {
        ++counts["times that the machine was too busy for a launcher to come up in its time"];
    } else {
        complain("submitted again as soon as it was not listed, and does not come up: " +
                 job.account());
    }
}

void Chaos::takeDescriptors(const std::string& endpoint, const std::string& victim,
                            const std::function<bool()>& servesWhoIsIn,
                            const std::function<bool()>& servesNewcomers) {
    if (!servesWhoIsIn()) {
        return complain("the " + victim + " did not serve before anything was wrong");
    }
    {
        const IdleConnections idle(endpoint, manyConnections);
        counts["idle connections"] += static_cast<std::int64_t>(idle.size());
        if (!servesWhoIsIn()) {
            complain("who was in is not served by a " + victim + " short of descriptors");
        }
    }
    if (!test::eventually(servesNewcomers, 20s)) {
        complain("nobody is let in again by a " + victim + " that was short of descriptors");
    }
}

void Chaos::takeDescriptorsOfService() {
    const auto& places = machine.places();
    test::Api client(places.requests);
    takeDescriptors(
        places.requests, "service", [&] { return client.info().has_value(); },
        [&] { return test::Api(places.requests).info().has_value(); });
}

void Chaos::takeDescriptorsOfGateway() {
    if (!followerIsTold()) {
        ++counts["times that nobody told the follower"];
        return;
    }
    const auto& places = machine.places();
    takeDescriptors(
        places.published, "gateway", [&] { return followerIsTold(); },
        [&] { return gatewayIsThere(places); });
}

// What they write afterwards reaches nobody, and must be no reason to end.
void Chaos::closeLogOfService() {
    machine.service().closeLog();
    if (!test::Api(machine.places().requests).info()) {
        complain("a service whose log nobody reads does not answer");
    }
}

void Chaos::closeLogOfCompanion() {
    const auto victim = below(machine.companions().size() + 1);
    if (victim < machine.companions().size()) {
        machine.companions()[victim].run->closeOutput();
    } else if (machine.storage().isUp()) {
        machine.storage().closeLog();
    }
}

}  // namespace tarn::chaos
