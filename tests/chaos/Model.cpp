#include "tests/chaos/Model.h"

#include <algorithm>

namespace tarn::chaos {

namespace {

std::size_t launchersOf(const World& world, const std::string& label) {
    return static_cast<std::size_t>(
        std::count_if(world.launchers.begin(), world.launchers.end(),
                      [&](const World::Launcher& one) { return one.label == label; }));
}

std::size_t filesOf(const World& world, const std::string& id) {
    return static_cast<std::size_t>(
        std::count_if(world.stored.begin(), world.stored.end(),
                      [&](const World::Stored& one) { return one.id == id; }));
}

const World::Listed* listed(const World& world, const std::string& id) {
    const auto found = std::find_if(world.listed.begin(), world.listed.end(),
                                    [&](const World::Listed& one) { return one.id == id; });
    return found == world.listed.end() ? nullptr : &*found;
}

// What occurs more than once.
std::set<std::string> repeated(const std::vector<std::string>& texts) {
    std::set<std::string> seen;
    std::set<std::string> again;
    for (const auto& text : texts) {
        if (!seen.insert(text).second) {
            again.insert(text);
        }
    }
    return again;
}

std::string counted(std::size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

Model::Job* Model::find(const std::string& id) {
    const auto found = known.find(id);
    return found == known.end() ? nullptr : &found->second;
}

Model::Job* Model::findByLabel(const std::string& label) {
    for (auto& [id, job] : known) {
        if (job.order.label == label) {
            return &job;
        }
    }
    return nullptr;
}

std::optional<std::string> Model::labelOf(const std::string& id) const {
    const auto found = known.find(id);
    return found == known.end() ? std::nullopt : std::optional(found->second.order.label);
}

void Model::submitted(const Order& order) {
    auto& job = known[order.id];
    job.order = order;
    if (order.lifetime == Lifetime::Passing && order.kind != Kind::Endless) {
        job.fate = Fate::Over;
    }
}

void Model::sawPlaying(const std::string& id, pid_t launcher) {
    auto* const job = find(id);
    if (job == nullptr) {
        return;
    }
    job->launcher = launcher;
    job->listed = true;
    if (!isPersistent(*job) && job->fate == Fate::Open && !job->endIsOpen) {
        job->fate = Fate::Runs;
    }
}

void Model::sawFile(const std::string& id) {
    auto* const job = find(id);
    if (job != nullptr && job->fate == Fate::Open && !job->endIsOpen &&
        job->order.kind != Kind::Short) {
        job->fate = Fate::Runs;
    }
}

void Model::stopped(const std::string& id, End end, Answer answer) {
    auto* const job = find(id);
    if (job == nullptr || (isPersistent(*job) && end == End::UntilNextStart)) {
        return;
    }
    if (answer == Answer::Taken) {
        job->fate = Fate::Over;
    } else if (job->fate != Fate::Over) {
        job->fate = Fate::Open;
        job->endIsOpen = true;
    }
}

// What was killed may have been a launcher that had not become the job yet: only the one in which
// the job was seen is known to have been the job.
void Model::killed(const std::string& label, pid_t launcher) {
    auto* const job = findByLabel(label);
    if (job == nullptr || isPersistent(*job)) {
        return;
    }
    if (job->launcher == launcher) {
        job->fate = Fate::Over;
    } else if (job->fate != Fate::Over) {
        job->fate = Fate::Open;
        job->endIsOpen = true;
    }
}

void Model::launcherKilled(const std::string& label, pid_t launcher) {
    killed(label, launcher);
}

void Model::pipelineKilled(const std::string& label, pid_t launcher) {
    killed(label, launcher);
}

void Model::registryLost() {
    for (auto& [id, job] : known) {
        job.listed = false;
    }
}

void Model::serviceInterrupted() {
    for (auto& [id, job] : known) {
        if (isPersistent(job) || job.fate == Fate::Over) {
            continue;
        }
        job.fate = job.listed ? Fate::Over : Fate::Open;
        job.endIsOpen = true;
    }
}

std::size_t Model::mustRun() const {
    return static_cast<std::size_t>(
        std::count_if(known.begin(), known.end(),
                      [](const auto& entry) { return entry.second.fate == Fate::Runs; }));
}

std::size_t Model::mustBeOver() const {
    return static_cast<std::size_t>(
        std::count_if(known.begin(), known.end(),
                      [](const auto& entry) { return entry.second.fate == Fate::Over; }));
}

std::vector<std::string> Model::problemsWith(const World& world) const {
    Problems problems;
    for (const auto& [id, job] : known) {
        checkJob(job, world, problems);
    }
    checkProcesses(world, problems);
    checkList(world, problems);
    checkFiles(world, problems);
    return problems;
}

void Model::checkJob(const Job& job, const World& world, Problems& problems) const {
    const auto& id = job.order.id;
    const std::size_t running = launchersOf(world, job.order.label);
    const std::size_t files = filesOf(world, id);
    const auto* const entry = listed(world, id);
    const auto complain = [&](const std::string& text) {
        problems.push_back("job " + id + " " + text);
    };
    if (running > 1) {
        complain("runs " + std::to_string(running) + " times");
    }
    if (running == 1 && entry == nullptr) {
        complain("runs and is not listed");
    }
    if (job.fate == Fate::Runs && running == 0) {
        complain("is lost: it does not run");
    }
    if (job.fate == Fate::Over && running > 0) {
        complain("is over and runs");
    }
    if (job.fate == Fate::Over && files > 0) {
        complain("is over and has " + counted(files, "file"));
    }
    if (files > 1) {
        complain("has " + counted(files, "file"));
    }
    if (!isPersistent(job)) {
        return;
    }
    if (job.fate == Fate::Runs && files == 0) {
        complain("has lost its file");
    }
    if (files > 0 && running == 0) {
        complain("has a file and does not run");
    }
    if (files == 0 && entry != nullptr && entry->persistent == true) {
        complain("says that it is persistent and has no file");
    }
    if (files > 0 && entry != nullptr && entry->persistent == false) {
        complain("has a file and says that it is not persistent");
    }
}

void Model::checkProcesses(const World& world, Problems& problems) const {
    std::set<std::string> labels;
    for (const auto& [id, job] : known) {
        labels.insert(job.order.label);
    }
    std::set<pid_t> launchers;
    for (const auto& launcher : world.launchers) {
        launchers.insert(launcher.id);
        if (!labels.contains(launcher.label)) {
            problems.push_back("a launcher runs that nobody ordered: " + launcher.label);
        }
    }
    std::set<pid_t> taken;
    for (const auto& pipeline : world.pipelines) {
        const auto name = "pipeline process " + std::to_string(pipeline.id);
        if (!launchers.contains(pipeline.parent)) {
            problems.push_back(name + " has no launcher");
        } else if (!taken.insert(pipeline.parent).second) {
            problems.push_back(name + " is the second of its launcher");
        }
    }
    for (const auto& stranger : world.strangers) {
        problems.push_back("left running: " + stranger);
    }
    for (const auto& socket : world.sharedSockets) {
        problems.push_back("two processes listen on " + socket);
    }
}

void Model::checkList(const World& world, Problems& problems) const {
    std::vector<std::string> ids;
    std::vector<std::string> endpoints;
    for (const auto& job : world.listed) {
        ids.push_back(job.id);
        endpoints.insert(endpoints.end(), job.endpoints.begin(), job.endpoints.end());
        const auto label = labelOf(job.id);
        if (!label || launchersOf(world, *label) == 0) {
            problems.push_back("listed, but not running: " + job.id);
        }
    }
    for (const auto& id : repeated(ids)) {
        problems.push_back("listed twice: " + id);
    }
    for (const auto& endpoint : repeated(endpoints)) {
        problems.push_back("held by two jobs: " + endpoint);
    }
}

void Model::checkFiles(const World& world, Problems& problems) const {
    for (const auto& stored : world.stored) {
        if (!stored.id) {
            problems.push_back("torn: " + stored.file);
        } else if (!known.contains(*stored.id)) {
            problems.push_back("a file of a job that nobody ordered: " + stored.file);
        }
    }
}

}  // namespace tarn::chaos
