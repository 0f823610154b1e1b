#include "tests/chaos/observation/Observation.h"

#include <algorithm>

#include "proto/job_monitoring.pb.h"
#include "tests/chaos/machine/Machine.h"
#include "tests/chaos/observation/DeviceObservation.h"
#include "tests/chaos/observation/ListeningSockets.h"
#include "tests/system/harness/JobCommands.h"
#include "tests/system/harness/Processes.h"

namespace tarn::chaos {

namespace {

bool isDead(const test::OtherProcess& process) {
    return process.state == 'Z';
}

bool runs(const test::OtherProcess& process, const std::string& program) {
    return !isDead(process) &&
           process.command.substr(0, process.command.find(' ')).ends_with("/" + program);
}

// A pipeline process that has failed, until its launcher has seen it. On its way out, and when it
// is dead, a process has no command line but only a name.
bool isSeenSoon(const test::OtherProcess& process) {
    return process.command.find("(tarnPipeline") != std::string::npos;
}

// The word that follows " -l ".
std::string labelIn(const std::string& command) {
    const std::string option = " -l ";
    const auto at = command.find(option);
    if (at == std::string::npos) {
        return {};
    }
    const auto begin = at + option.size();
    return command.substr(begin, command.find(' ', begin) - begin);
}

std::vector<std::string> strangersAmong(const std::vector<pid_t>& known) {
    std::vector<std::string> strangers;
    for (const auto& process : test::otherProcesses()) {
        const bool belongs = std::find(known.begin(), known.end(), process.id) != known.end() ||
                             isSeenSoon(process) || runs(process, "KLN-SDI-Ingest-Service") ||
                             runs(process, "tarnWorkflowLauncher") ||
                             runs(process, "tarnPipelineProcess");
        if (!belongs) {
            strangers.push_back(test::describe({process}));
        }
    }
    return strangers;
}

World::Listed listedOf(const test::JobAddress& job) {
    World::Listed listed{.id = job.id, .endpoints = {job.commandEndpoint, job.eventEndpoint}};
    if (const auto status = test::JobCommands(job.commandEndpoint).status()) {
        listed.answer = {.id = status->job_description().job_id(),
                         .persistent = status->persistent(),
                         .plays = status->state() == proto::job_monitoring::JOB_STATE_PLAYING};
    }
    return listed;
}

}  // namespace

std::vector<World::Launcher> launchers() {
    std::vector<World::Launcher> found;
    for (const auto& process : test::otherProcesses()) {
        if (runs(process, "tarnWorkflowLauncher")) {
            found.push_back({process.id, labelIn(process.command)});
        }
    }
    return found;
}

std::vector<World::Pipeline> pipelines() {
    std::vector<World::Pipeline> found;
    for (const auto& process : test::otherProcesses()) {
        if (runs(process, "tarnPipelineProcess")) {
            found.push_back({process.id, process.parent});
        }
    }
    return found;
}

World observe(Machine& machine) {
    const auto& places = machine.places();
    World world{.launchers = launchers(),
                .pipelines = pipelines(),
                .strangers = strangersAmong(machine.programs()),
                .listed = {},
                .stored = machine.folder().stored(),
                .sharedSockets = sharedSockets(),
                .devices = realDevices(machine),
                .tree = toldDevices(places),
                .published = publishedDevices(places)};
    for (const auto& job : listedJobs(places).value_or(std::vector<test::JobAddress>())) {
        world.listed.push_back(listedOf(job));
    }
    return world;
}

std::optional<std::vector<test::JobAddress>> listedJobs(const Places& places) {
    return test::Api(places.requests).jobs();
}

}  // namespace tarn::chaos
