#include "tests/chaos/Observation.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/chaos/PersistentFolder.h"
#include "tests/system/JobCommands.h"
#include "tests/system/Processes.h"

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
                             isSeenSoon(process) || runs(process, "tarnWorkflowLauncher") ||
                             runs(process, "tarnPipelineProcess");
        if (!belongs) {
            strangers.push_back(test::describe({process}));
        }
    }
    return strangers;
}

// Lines of that file: number, references, protocol, flags, type, state, inode, path. Of those with
// a path the flag 10000 says that somebody listens.
std::vector<std::string> sharedSockets() {
    std::map<std::string, int> listening;
    std::ifstream table("/proc/net/unix");
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        std::string number, references, protocol, flags, type, state, inode, path;
        words >> number >> references >> protocol >> flags >> type >> state >> inode >> path;
        if (flags == "00010000" && !path.empty()) {
            ++listening[path];
        }
    }
    std::vector<std::string> shared;
    for (const auto& [path, count] : listening) {
        if (count > 1) {
            shared.push_back(path);
        }
    }
    return shared;
}

World::Listed listedOf(const test::JobAddress& job) {
    World::Listed listed{.id = job.id, .endpoints = {job.commandEndpoint, job.eventEndpoint}};
    if (const auto status = test::JobCommands(job.commandEndpoint).status()) {
        listed.persistent = status->persistent();
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

World observe(const PersistentFolder& folder, const std::vector<pid_t>& known) {
    World world{.launchers = launchers(),
                .pipelines = pipelines(),
                .strangers = strangersAmong(known),
                .listed = {},
                .stored = folder.stored(),
                .sharedSockets = sharedSockets()};
    for (const auto& job : listedJobs().value_or(std::vector<test::JobAddress>())) {
        world.listed.push_back(listedOf(job));
    }
    return world;
}

std::optional<std::vector<test::JobAddress>> listedJobs() {
    return test::Api().jobs();
}

}  // namespace tarn::chaos
