#include "tests/chaos/model/Model.h"

#include <algorithm>

namespace tarn::chaos {

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
    job = {.order = order};
    const bool isLimited = order.kind == Kind::Failing || order.kind == Kind::Short;
    if (order.lifetime == Lifetime::Passing && isLimited) {
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

// It had not noticed if it is seen playing from now on.
void Model::storageKilled() {
    for (auto& [id, job] : known) {
        if (usesStorage(job) && !isPersistent(job)) {
            job.fate = job.fate == Fate::Runs ? Fate::Over : job.fate;
            job.endIsOpen = true;
        }
    }
}

void Model::storageHeldUp() {
    for (auto& [id, job] : known) {
        if (usesStorage(job) && !isPersistent(job) && job.fate != Fate::Over) {
            job.fate = Fate::Open;
            job.endIsOpen = true;
        }
    }
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

}  // namespace tarn::chaos
