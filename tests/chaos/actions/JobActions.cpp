// What happens to jobs.
#include <signal.h>

#include <algorithm>
#include <array>
#include <utility>

#include "platform/utils/UuidGenerator.h"
#include "proto/job_monitoring.pb.h"
#include "tests/chaos/Chaos.h"
#include "tests/chaos/observation/Observation.h"
#include "tests/system/harness/JobCommands.h"

namespace tarn::chaos {

namespace {

using test::JobCommands;

constexpr std::size_t mostJobs = 20;
constexpr std::size_t looksAtOnce = 3;

Kind kindOf(std::size_t draw) {
    constexpr std::array<std::pair<std::size_t, Kind>, 4> limits = {
        {{2, Kind::Failing}, {4, Kind::Short}, {9, Kind::Recording}, {14, Kind::Playing}}};
    for (const auto& [limit, kind] : limits) {
        if (draw < limit) {
            return kind;
        }
    }
    return Kind::Endless;
}

bool usesStorage(Kind kind) {
    return kind == Kind::Recording || kind == Kind::Playing;
}

// Ports are given again: at that of a job that is dead another one may listen by now, and an order
// to a job does not name it.
bool answersItself(const test::JobAddress& job) {
    const auto status = JobCommands(job.commandEndpoint).status();
    return status && status->job_description().job_id() == job.id;
}

}  // namespace

// Light ones: the server is what is tested.
std::string Chaos::pipelineOf(const Order& order) const {
    const std::string picture =
        " ! video/x-raw,width=32,height=24,framerate=10/1 ! identity name=i ";
    const auto track = "location=" + machine.places().storageLocation() +
                       " track=" + std::to_string(order.track) + " worker-name=" + order.worker;
    switch (order.kind) {
        case Kind::Failing:
            return "videotestsrc is-live=true" + picture + "error-after=8 ! fakesink";
        case Kind::Short:
            return "videotestsrc is-live=true num-buffers=15" + picture + "! fakesink";
        case Kind::Recording:
            return "videotestsrc is-live=true" + picture + "! tarnstoragesink " + track;
        case Kind::Playing:
            return "tarnstoragesrc " + track + " ! identity name=i ! fakesink async=false";
        case Kind::Endless:
            break;
    }
    return "videotestsrc is-live=true" + picture + "! fakesink";
}

Order Chaos::newOrder() {
    Order order{.id = utils::UuidGenerator::Generate(), .label = {}};
    order.lifetime = below(2) == 0 ? Lifetime::Persistent : Lifetime::Passing;
    order.kind = kindOf(below(20));
    if (usesStorage(order.kind)) {
        order.worker = "w" + order.id.substr(0, 13);
        order.track = machine.tracks()[below(machine.tracks().size())];
    }
    const bool named = order.lifetime == Lifetime::Persistent && below(2) == 0;
    order.label = named ? "named-" + std::to_string(++submissions) : order.id;
    return order;
}

test::JobOrder Chaos::submissionOf(const Order& order) const {
    return {.pipeline = pipelineOf(order),
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
    if (!test::Api(machine.places().requests).submit(submissionOf(order))) {
        complain("a submission was not answered");
    }
}

void Chaos::submitAndKillService() {
    const auto order = newOrder();
    model.submitted(order);
    test::Api client(machine.places().requests);
    client.send(test::submissionOf(submissionOf(order)));
    pause();
    killService();
}

void Chaos::stopAJob() {
    const auto jobs = listedJobs(machine.places());
    if (!jobs) {
        return complain("the list of jobs was not answered");
    }
    if (jobs->empty()) {
        return;
    }
    const auto& job = (*jobs)[below(jobs->size())];
    if (machine.places().transport == Transport::Tcp && !answersItself(job)) {
        ++counts["stops that would have found nobody or another job"];
        return;
    }
    const bool forGood = below(2) == 0;
    const bool taken =
        JobCommands(job.commandEndpoint)
            .destroy(forGood ? JobCommands::End::ForGood : JobCommands::End::UntilNextStart);
    model.stopped(job.id, forGood ? Model::End::ForGood : Model::End::UntilNextStart,
                  taken ? Model::Answer::Taken : Model::Answer::None);
    ++counts[forGood ? "stops for good" : "stops until the next start"];
}

void Chaos::lookAtJobs() {
    auto jobs = listedJobs(machine.places());
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
    if (!status || status->job_description().job_id() != job.id ||
        status->state() != proto::job_monitoring::JOB_STATE_PLAYING) {
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

}  // namespace tarn::chaos
