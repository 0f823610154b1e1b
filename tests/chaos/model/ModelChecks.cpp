// What is wrong with a world.
#include <algorithm>
#include <set>

#include "tests/chaos/model/DeviceChecks.h"
#include "tests/chaos/model/Model.h"

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

bool saysPersistent(const World::Listed& job) {
    return job.answer && job.answer->persistent;
}

bool saysPassing(const World::Listed& job) {
    return job.answer && !job.answer->persistent;
}

}  // namespace

std::vector<std::string> Model::problemsWith(const World& world) const {
    Problems problems;
    for (const auto& [id, job] : known) {
        checkJob(job, world, problems);
    }
    checkProcesses(world, problems);
    checkList(world, problems);
    checkFiles(world, problems);
    checkWorkers(world, problems);
    checkDevices(world, problems);
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
    if (files == 0 && entry != nullptr && saysPersistent(*entry)) {
        complain("says that it is persistent and has no file");
    }
    if (files > 0 && entry != nullptr && saysPassing(*entry)) {
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
        } else if (!job.answer) {
            problems.push_back("listed, but silent: " + job.id);
        } else if (job.answer->id != job.id) {
            problems.push_back("at the endpoint of job " + job.id + " answers " + job.answer->id);
        }
    }
    for (const auto& id : repeated(ids)) {
        problems.push_back("listed twice: " + id);
    }
    for (const auto& endpoint : repeated(endpoints)) {
        problems.push_back("held by two jobs: " + endpoint);
    }
}

void Model::checkWorkers(const World& world, Problems& problems) const {
    if (!world.devices) {
        return;
    }
    std::multiset<std::string> attached;
    for (const auto& [id, track] : world.devices->tracks) {
        attached.insert(track.readerNames.begin(), track.readerNames.end());
        attached.insert(track.writerNames.begin(), track.writerNames.end());
    }
    for (const auto& listed : world.listed) {
        const auto found = known.find(listed.id);
        if (found == known.end() || !usesStorage(found->second)) {
            continue;
        }
        const bool isAttached = attached.erase(found->second.order.worker) > 0;
        if (listed.answer && listed.answer->plays && !isAttached) {
            problems.push_back("job " + listed.id + " plays and is not attached to its track");
        }
    }
    for (const auto& worker : attached) {
        problems.push_back("attached to a track, but no job: " + worker);
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
