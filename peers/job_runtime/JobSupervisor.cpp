#include "peers/job_runtime/JobSupervisor.h"

#include <signal.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "peers/job_runtime/EventPublisher.h"
#include "peers/job_runtime/InputWait.h"
#include "peers/job_runtime/JobSetup.h"
#include "peers/job_runtime/JobStatus.h"
#include "peers/job_runtime/Persistence.h"
#include "peers/job_runtime/PipelineCheck.h"
#include "peers/job_runtime/StopRequest.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"

namespace tarn::peers {

using namespace tarn::proto::job_monitoring;

namespace {

constexpr std::size_t maxLogText = 4096;

// The state is said again when nothing else was, for those who came late.
constexpr std::chrono::milliseconds heartbeat{1200};

// How long a subscriber may take to be there after the job's endpoints were bound.
constexpr std::chrono::milliseconds timeToSubscribe{300};

JobEventProgress toProgress(const tarn::proto::pipeline_control::PipelineReport& report) {
    JobEventProgress progress;
    if (report.has_position_ns()) {
        progress.set_position_ns(report.position_ns());
    }
    if (report.has_duration_ns()) {
        progress.set_duration_ns(report.duration_ns());
    }
    if (report.has_position_ns() && report.duration_ns() > 0) {
        const auto fraction =
            static_cast<double>(report.position_ns()) / static_cast<double>(report.duration_ns());
        progress.set_fraction(std::clamp(fraction, 0.0, 1.0));
    }
    return progress;
}

}  // namespace

JobSupervisor::JobSupervisor(const Surroundings& surroundings,
                             std::unique_ptr<PipelineProcess> prepared, std::string failure)
    : job(surroundings), firstFailure(std::move(failure)), process(std::move(prepared)) {}

void JobSupervisor::run() {
    begin();
    while (phase != Phase::Over) {
        waitForSomething();
        step(Clock::now());
    }
}

void JobSupervisor::begin() {
    if (process) {
        startRun();
        command(&PipelineProcess::play);
    } else {
        noteFailure(firstFailure, {});
        endRun({JobEventEnd::FAILED, {}, firstFailure}, Clock::now());
    }
}

JobSupervisor::Clock::time_point JobSupervisor::nextDeadline() const {
    auto next = heartbeatAt;
    if (!unpublishedFailures.empty()) {
        next = std::min(next, began + timeToSubscribe);
    }
    if (phase != Phase::Running) {
        next = std::min(next, wakeAt);
    } else if (const auto due = ladder.deadline()) {
        next = std::min(next, *due);
    }
    return next;
}

void JobSupervisor::waitForSomething() const {
    std::vector<int> inputs = {job.stop.signalDescriptor(), job.stop.wishDescriptor()};
    if (process) {
        const auto ofProcess = process->descriptors();
        inputs.insert(inputs.end(), ofProcess.begin(), ofProcess.end());
    }
    waitForInput(inputs, nextDeadline());
}

void JobSupervisor::step(Clock::time_point now) {
    followWish(now);
    publishFailures(now);
    if (phase == Phase::Running) {
        stepRunning(now);
    } else if (phase == Phase::Waiting && now >= wakeAt) {
        playAgain(now);
    } else if (phase == Phase::Closing && now >= wakeAt) {
        close();
    }
    if (phase != Phase::Over && now >= heartbeatAt) {
        publishState();
    }
}

void JobSupervisor::stepRunning(Clock::time_point now) {
    process->read();
    takeReports(now);
    if (const auto end = process->end()) {
        takeReports(now);  // the last ones may have come with the end
        endRun(judge(facts, *end), now);
    } else {
        if (process->isSilent()) {
            ladder.begin(now);  // it is ending, and may hang in that
        }
        climb(now);
    }
}

void JobSupervisor::followWish(Clock::time_point now) {
    if (job.stop.take() == StopRequest::Wish::None) {
        return;
    }
    if (phase == Phase::Waiting) {
        endRun({JobEventEnd::DESTROYED, {}, "destroyed while waiting to be played again"}, now);
    } else if (phase == Phase::Running && !ladder.hasBegun()) {
        facts.note(RunFacts::Ending::StopAsked);
        show(JOB_STATE_STOPPING);
        command(&PipelineProcess::finish);
        ladder.begin(now);
    }
}

void JobSupervisor::climb(Clock::time_point now) {
    const auto due = ladder.take(now);
    if (due == StopLadder::Step::Terminate) {
        utils::logWarning("The pipeline process does not end: SIGTERM");
        process->signalGroup(SIGTERM);
    } else if (due == StopLadder::Step::Kill) {
        utils::logWarning("The pipeline process does not end: SIGKILL");
        process->signalGroup(SIGKILL);
    } else if (due == StopLadder::Step::GiveUp) {
        endRun(judge(facts, {}), now);
    }
}

void JobSupervisor::takeReports(Clock::time_point now) {
    try {
        for (Report report; process->nextReport(report); report.Clear()) {
            handle(report, now);
        }
    } catch (const std::exception& e) {
        utils::logError(std::string("The pipeline process is not understood: ") + e.what());
        process->signalGroup(SIGKILL);
    }
}

void JobSupervisor::handle(const Report& report, Clock::time_point now) {
    switch (report.type()) {
        case Report::PARSED:
            return command(&PipelineProcess::prepare);
        case Report::PREPARED:
            return command(&PipelineProcess::play);
        case Report::PLAYING:
            policy.playing(now);
            return ladder.hasBegun() ? void() : show(JOB_STATE_PLAYING);
        case Report::PROGRESS:
            return handleProgress(report);
        case Report::WARNING:
            return logWarningOf(report);
        case Report::FAILURE:
            return handleFailure(report, now);
        case Report::END_OF_STREAM:
            facts.note(RunFacts::Ending::EndOfStream);
            return ladder.begin(now);
        case Report::UNKNOWN:
            return;
    }
}

void JobSupervisor::handleProgress(const Report& report) {
    const auto progress = toProgress(report);
    job.status.update([&](JobStatus::Reply& status) {
        status.clear_fraction();
        status.clear_duration_ns();
        if (progress.has_position_ns()) {
            status.set_position_ns(progress.position_ns());
        }
        if (progress.has_duration_ns()) {
            status.set_duration_ns(progress.duration_ns());
        }
        if (progress.has_fraction()) {
            status.set_fraction(progress.fraction());
        }
    });
    publishState();
    job.events.progress(progress);
}

void JobSupervisor::handleFailure(const Report& report, Clock::time_point now) {
    if (facts.failure.empty()) {
        facts.failure = report.message();
    }
    facts.note(RunFacts::Ending::Failure);
    noteFailure(report.message(), report.detail());
    ladder.begin(now);
}

// A process that cannot be told has ended or hangs; both are found out without this.
void JobSupervisor::command(void (PipelineProcess::*what)()) {
    try {
        ((*process).*what)();
    } catch (const std::exception& e) {
        utils::logWarning(std::string("The pipeline process cannot be told: ") + e.what());
    }
}

void JobSupervisor::startRun() {
    facts = {};
    ladder = {};
    phase = Phase::Running;
    job.status.update([&](JobStatus::Reply& status) { status.set_pipeline_pid(process->id()); });
    show(JOB_STATE_STARTING);
}

void JobSupervisor::playAgain(Clock::time_point now) {
    job.status.update([](JobStatus::Reply& status) { status.set_restarts(status.restarts() + 1); });
    try {
        process = std::make_unique<PipelineProcess>();
        startRun();
        process->parse(job.setup.pipeline, job.setup.environment);
    } catch (const std::exception& e) {
        noteFailure(e.what(), {});
        endRun({JobEventEnd::FAILED, {}, e.what()}, now);
    }
}

void JobSupervisor::endRun(const RunResult& ended, Clock::time_point now) {
    process.reset();
    job.status.update([](JobStatus::Reply& status) { status.clear_pipeline_pid(); });
    if (ended.reason == JobEventEnd::CRASHED) {
        noteFailure("the pipeline process was " + ended.message, {});
    }
    const bool stopWished = job.stop.wish() != StopRequest::Wish::None;
    if (ended.failed() && job.persistence.isKept() && !stopWished) {
        const auto delay = policy.failed(now);
        wakeAt = now + delay;
        phase = Phase::Waiting;
        utils::logInfo("Played again in " + std::to_string(delay.count()) + " ms");
        show(JOB_STATE_WAITING_TO_RESTART);
    } else {
        result = ended;
        wakeAt = std::max(now, began + timeToSubscribe);
        phase = Phase::Closing;
    }
}

void JobSupervisor::close() {
    const bool forGood = result->reason == JobEventEnd::END_OF_STREAM ||
                         job.stop.wish() == StopRequest::Wish::EndForGood;
    try {
        if (forGood) {
            job.persistence.forget();
        }
    } catch (const std::exception& e) {
        utils::logError(std::string("Cannot remove the persistent file: ") + e.what());
    }
    show(JOB_STATE_ENDED);
    utils::logInfo("Ended: " + utils::printable(result->message, maxLogText));
    job.events.end(*result);
    phase = Phase::Over;
}

void JobSupervisor::show(JobState now) {
    if (std::exchange(state, now) != now) {
        utils::logInfo("State " + JobState_Name(now));
        job.status.update([&](JobStatus::Reply& status) { status.set_state(now); });
        publishState();
    }
}

void JobSupervisor::publishState() {
    heartbeatAt = Clock::now() + heartbeat;
    job.events.state(state);
}

void JobSupervisor::noteFailure(const std::string& message, const std::string& detail) {
    utils::logError("Failure: " + utils::printable(message, maxLogText) + " " +
                    utils::printable(detail, maxLogText));
    job.status.update([&](JobStatus::Reply& status) { status.set_last_failure(message); });
    unpublishedFailures.emplace_back(message, detail);
    publishFailures(Clock::now());
}

bool JobSupervisor::subscribersAreThere(Clock::time_point now) const {
    return now >= began + timeToSubscribe;
}

void JobSupervisor::publishFailures(Clock::time_point now) {
    if (!subscribersAreThere(now)) {
        return;
    }
    for (const auto& [message, detail] : std::exchange(unpublishedFailures, {})) {
        job.events.failure(message, detail);
    }
}

}  // namespace tarn::peers
