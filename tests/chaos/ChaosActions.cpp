// What can happen.
#include <poll.h>
#include <signal.h>

#include <algorithm>

#include "platform/utils/UuidGenerator.h"
#include "proto/job_monitoring.pb.h"
#include "tests/chaos/Chaos.h"
#include "tests/chaos/Observation.h"
#include "tests/system/JobCommands.h"

namespace tarn::chaos {

namespace {

using test::JobCommands;

constexpr std::size_t mostJobs = 20;
constexpr std::size_t looksAtOnce = 3;

// Light ones: the server is what is tested.
std::string pipelineOf(Kind kind) {
    const std::string picture =
        " ! video/x-raw,width=32,height=24,framerate=10/1 ! identity name=i ";
    switch (kind) {
        case Kind::Failing:
            return "videotestsrc is-live=true" + picture + "error-after=8 ! fakesink";
        case Kind::Short:
            return "videotestsrc is-live=true num-buffers=15" + picture + "! fakesink";
        case Kind::Endless:
            break;
    }
    return "videotestsrc is-live=true" + picture + "! fakesink";
}

}  // namespace

const std::vector<Chaos::Action>& Chaos::actions() {
    static const std::vector<Action> all = {
        {"submissions", 60, Needs::ServiceUp, &Chaos::submit},
        {"submissions during which the service was killed", 3, Needs::ServiceUp,
         &Chaos::submitAndKillService},
        {"stops", 10, Needs::ServiceUp, &Chaos::stopAJob},
        {"looks", 20, Needs::ServiceUp, &Chaos::lookAtJobs},
        {"kills of the service", 6, Needs::ServiceUp, &Chaos::killService},
        {"kills of a service that had just started", 2, Needs::Nothing, &Chaos::killServiceOften},
        {"interrupts", 3, Needs::ServiceUp, &Chaos::interruptService},
        {"starts", 60, Needs::ServiceDown, &Chaos::startService},
        {"kills of a companion", 4, Needs::Nothing, &Chaos::killCompanion},
        {"kills of a launcher", 6, Needs::Nothing, &Chaos::killLauncher},
        {"kills of a pipeline process", 6, Needs::Nothing, &Chaos::killPipeline},
        {"registries deleted", 8, Needs::ServiceDown, &Chaos::deleteRegistry},
        {"registries damaged", 8, Needs::ServiceDown, &Chaos::damageRegistry},
        {"disks filled", 2, Needs::Nothing, &Chaos::fillDisk},
        {"disks freed", 6, Needs::Nothing, &Chaos::freeDisk},
    };
    return all;
}

Order Chaos::newOrder() {
    Order order{.id = utils::UuidGenerator::Generate(), .label = {}};
    order.lifetime = below(2) == 0 ? Lifetime::Persistent : Lifetime::Passing;
    order.kind = below(5) == 0 ? Kind::Failing : below(5) == 0 ? Kind::Short : Kind::Endless;
    const bool named = order.lifetime == Lifetime::Persistent && below(2) == 0;
    order.label = named ? "named-" + std::to_string(++submissions) : order.id;
    return order;
}

test::JobOrder Chaos::submissionOf(const Order& order) const {
    return {.pipeline = pipelineOf(order.kind),
            .id = order.id,
            .name = "chaos",
            .properties = {},
            .persistent = order.lifetime == Lifetime::Persistent,
            .persistentName = order.label == order.id ? std::string() : order.label};
}

void Chaos::submit() {
    if (launchers().size() >= mostJobs) {
        return stopAJob();
    }
    const auto order = newOrder();
    model.submitted(order);
    if (!test::Api().submit(submissionOf(order))) {
        complain("a submission was not answered");
    }
}

void Chaos::submitAndKillService() {
    const auto order = newOrder();
    model.submitted(order);
    test::Api client;
    client.send(test::submissionOf(submissionOf(order)));
    pause();
    machine.killService();
}

void Chaos::stopAJob() {
    const auto jobs = listedJobs();
    if (!jobs) {
        return complain("the list of jobs was not answered");
    }
    if (jobs->empty()) {
        return;
    }
    const auto& job = (*jobs)[below(jobs->size())];
    const bool forGood = below(2) == 0;
    const bool taken =
        JobCommands(job.commandEndpoint)
            .destroy(forGood ? JobCommands::End::ForGood : JobCommands::End::UntilNextStart);
    model.stopped(job.id, forGood ? Model::End::ForGood : Model::End::UntilNextStart,
                  taken ? Model::Answer::Taken : Model::Answer::None);
    ++counts[forGood ? "stops for good" : "stops until the next start"];
}

void Chaos::lookAtJobs() {
    auto jobs = listedJobs();
    if (!jobs) {
        return complain("the list of jobs was not answered");
    }
    std::shuffle(jobs->begin(), jobs->end(), random);
    jobs->resize(std::min(jobs->size(), looksAtOnce));
    for (const auto& job : *jobs) {
        lookAt(job);
    }
}

void Chaos::lookAt(const test::JobAddress& job) {
    const auto label = model.labelOf(job.id);
    if (!label) {
        return complain("listed, but nobody ordered it: " + job.id);
    }
    const auto status = JobCommands(job.commandEndpoint).status();
    if (!status || status->state() != proto::job_monitoring::JOB_STATE_PLAYING) {
        return;
    }
    std::vector<pid_t> found;
    for (const auto& launcher : launchers()) {
        if (launcher.label == *label) {
            found.push_back(launcher.id);
        }
    }
    if (found.size() == 1) {
        model.sawPlaying(job.id, found.front());
    }
}

void Chaos::killService() {
    machine.killService();
}

void Chaos::killServiceOften() {
    for (int n = 0; n < 3; ++n) {
        if (!machine.serviceIsUp()) {
            machine.startService();
        }
        pause();
        machine.killService();
    }
}

void Chaos::interruptService() {
    if (machine.interruptService() != test::Ending::exited(0)) {
        return complain("the service did not end in order");
    }
    model.serviceInterrupted();
}

void Chaos::startService() {
    machine.startService();
}

void Chaos::killCompanion() {
    auto& companion = machine.companions()[below(machine.companions().size())];
    Machine::killHard(companion);
    Machine::start(companion);
    ++counts["kills of " + companion.name];
}

void Chaos::killLauncher() {
    const auto victims = launchers();
    if (!victims.empty()) {
        const auto& victim = victims[below(victims.size())];
        ::kill(victim.id, SIGKILL);
        model.launcherKilled(victim.label, victim.id);
        ++counts["launchers killed"];
    }
}

void Chaos::killPipeline() {
    const auto victims = pipelines();
    if (victims.empty()) {
        return;
    }
    const auto& victim = victims[below(victims.size())];
    for (const auto& launcher : launchers()) {
        if (launcher.id == victim.parent) {
            ::kill(victim.id, SIGKILL);
            model.pipelineKilled(launcher.label, launcher.id);
            ++counts["pipeline processes killed"];
        }
    }
}

void Chaos::deleteRegistry() {
    Machine::deleteRegistry();
    model.registryLost();
}

void Chaos::damageRegistry() {
    Machine::damageRegistry(random);
    model.registryLost();
}

void Chaos::fillDisk() {
    machine.folder().fill();
}

void Chaos::freeDisk() {
    machine.folder().free();
}

}  // namespace tarn::chaos
