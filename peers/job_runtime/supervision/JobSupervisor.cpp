#include "peers/job_runtime/supervision/JobSupervisor.h"

#include <signal.h>

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

#include "peers/job_runtime/launcher/Admission.h"
#include "peers/job_runtime/launcher/JobSetup.h"
#include "peers/job_runtime/launcher/SetupAnswer.h"
#include "peers/job_runtime/persistence/Persistence.h"
#include "peers/job_runtime/supervision/InputWait.h"
#include "peers/job_runtime/supervision/JobStatus.h"
#include "peers/job_runtime/supervision/StopRequest.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"
#include "proto/pipeline_control.pb.h"

namespace tarn::peers {

using namespace tarn::proto::job_monitoring;

namespace {

void logWarningOf(const tarn::proto::pipeline_control::PipelineReport& report) {
    utils::logWarning(
        "Pipeline warning: " + utils::printable(report.message(), JobVoice::mostLogText) + " " +
        utils::printable(report.detail(), JobVoice::mostLogText));
}

}  // namespace

JobSupervisor::JobSupervisor(const Dependencies& dependencies,
                             std::unique_ptr<PipelineProcess> started)
    : job(dependencies), voice(job.status, job.events, Clock::now()), process(std::move(started)) {}

void JobSupervisor::run() {
    begin(Clock::now());
    while (phase != Phase::Over) {
        waitForSomething();
        step(Clock::now());
    }
    forgetWhatEndedForGood();
}

void JobSupervisor::refuse(const std::string& reason) {
    end({JobEventEnd::FAILED, {}, reason});
}

JobSupervisor::Clock::time_point JobSupervisor::nextDeadline() const {
    auto next = voice.deadline();
    const auto include = [&next](const std::optional<Clock::time_point>& due) {
        next = std::min(next, due.value_or(next));
    };
    include(job.answer.deadline());
    include(job.admission.deadline());
    if (phase == Phase::Waiting) {
        include(wakeAt);
    } else {
        include(ladder.deadline());
        include(stage == Stage::Ready ? std::nullopt : std::optional(readyBy));
    }
    return next;
}

void JobSupervisor::waitForSomething() const {
    std::vector<int> inputs = {job.stop.descriptor(), job.admission.descriptor()};
    if (process) {
        const auto ofProcess = process->descriptors();
        inputs.insert(inputs.end(), ofProcess.begin(), ofProcess.end());
    }
    waitForInput(inputs, nextDeadline());
}

void JobSupervisor::step(Clock::time_point now) {
    followWish(now);
    if (phase == Phase::Running) {
        stepRunning(now);
    } else if (phase == Phase::Waiting && now >= wakeAt) {
        playAgain(now);
    }
    followAdmission(now);
    if (phase != Phase::Over) {
        job.answer.step(now);
        voice.step(now);
    }
}

void JobSupervisor::stepRunning(Clock::time_point now) {
    process->read();
    takeReports(now);
    if (const auto end = process->end()) {
        takeReports(now);  // the last ones may have come with the end
        endRun(judge(facts, *end), now);
    } else if (stage != Stage::Ready && now >= readyBy) {
        failUnready(now);
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
        end({JobEventEnd::DESTROYED, {}, "destroyed while waiting to be played again"});
    } else if (phase == Phase::Running && stage != Stage::Ready) {
        end({JobEventEnd::DESTROYED, {}, "destroyed before it was ready to play"});
    } else if (phase == Phase::Running && !ladder.hasBegun()) {
        facts.note(RunFacts::Ending::StopAsked);
        voice.show(JOB_STATE_STOPPING);
        command([](PipelineProcess& told) { told.finish(); });
        ladder.begin(now);
    }
}

void JobSupervisor::followAdmission(Clock::time_point now) {
    if (phase == Phase::Over) {
        return;
    }
    const auto admission = job.admission.step(now);
    if (admission == Admission::State::Refused) {
        end({JobEventEnd::FAILED, {}, job.admission.reason()});
    } else if (admission == Admission::State::Admitted && phase == Phase::Running &&
               stage == Stage::Checked) {
        stage = Stage::Preparing;
        command([](PipelineProcess& told) { told.prepare(); });
    }
}

void JobSupervisor::climb(Clock::time_point now) {
    const auto due = ladder.take(now);
    if (due == StopEscalation::Step::Terminate) {
        utils::logWarning("The pipeline process does not end: SIGTERM");
        process->signalGroup(SIGTERM);
    } else if (due == StopEscalation::Step::Kill) {
        utils::logWarning("The pipeline process does not end: SIGKILL");
        process->signalGroup(SIGKILL);
    } else if (due == StopEscalation::Step::GiveUp) {
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
            stage = Stage::Checked;
            return job.admission.checked();
        case Report::PREPARED:
            return getReady();
        case Report::PLAYING:
            policy.playing(now);
            return ladder.hasBegun() ? void() : voice.show(JOB_STATE_PLAYING);
        case Report::PROGRESS:
            return voice.progress(report);
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

void JobSupervisor::handleFailure(const Report& report, Clock::time_point now) {
    if (facts.failure.empty()) {
        facts.failure = report.message();
    }
    isUnusable = isUnusable || (!isSetUp && stage == Stage::Checking);
    facts.note(RunFacts::Ending::Failure);
    voice.failure(report.message(), report.detail());
    ladder.begin(now);
}

// A process that cannot be told has ended or hangs; both are found out without this.
template <typename Command>
void JobSupervisor::command(Command what) {
    try {
        what(*process);
    } catch (const std::exception& e) {
        utils::logWarning(std::string("The pipeline process cannot be told: ") + e.what());
    }
}

void JobSupervisor::begin(Clock::time_point now) {
    tellWhatIsNotKept();
    startRun(now);
}

void JobSupervisor::startRun(Clock::time_point now) {
    facts = {};
    ladder = {};
    phase = Phase::Running;
    stage = Stage::Checking;
    readyBy = now + timeToGetReady;
    try {
        if (!process) {
            process = std::make_unique<PipelineProcess>();
        }
    } catch (const std::exception& e) {
        voice.failure(e.what(), {});
        return endRun({JobEventEnd::FAILED, {}, e.what()}, now);
    }
    job.status.update([&](JobStatus::Reply& status) { status.set_pipeline_pid(process->id()); });
    voice.show(JOB_STATE_STARTING);
    command([&](PipelineProcess& told) { told.parse(job.setup.pipeline, job.setup.environment); });
}

void JobSupervisor::playAgain(Clock::time_point now) {
    job.status.update([](JobStatus::Reply& status) { status.set_restarts(status.restarts() + 1); });
    startRun(now);
}

void JobSupervisor::getReady() {
    stage = Stage::Ready;
    if (!std::exchange(wasReady, true)) {
        keep();
        accept();
    }
    command([](PipelineProcess& told) { told.play(); });
}

void JobSupervisor::failUnready(Clock::time_point now) {
    if (facts.failure.empty()) {
        facts.failure = "the pipeline was not ready in time";
        voice.failure(facts.failure, {});
    }
    facts.note(RunFacts::Ending::Failure);
    endRun(judge(facts, {}), now);
}

void JobSupervisor::endRun(const RunResult& ended, Clock::time_point now) {
    dropProcess();
    if (ended.reason == JobEventEnd::CRASHED) {
        voice.failure("the pipeline process was " + ended.message, {});
    }
    const bool stopWished = job.stop.wish() != StopRequest::Wish::None;
    if (ended.failed() && job.persistence.isKept() && !stopWished && !isUnusable) {
        waitToPlayAgain(now);
    } else {
        end(ended);
    }
}

// A job that comes back could be prepared once: what it lacks now may come later, a server that has
// not been started yet or a track that somebody else still holds. Refused, it would stay away until
// the next start of the service.
void JobSupervisor::waitToPlayAgain(Clock::time_point now) {
    const auto delay = policy.failed(now);
    wakeAt = now + delay;
    phase = Phase::Waiting;
    utils::logInfo("Played again in " + std::to_string(delay.count()) + " ms");
    voice.show(JOB_STATE_WAITING_TO_RESTART);
    accept();
}

void JobSupervisor::end(const RunResult& ended) {
    dropProcess();
    result = ended;
    phase = Phase::Over;
}

void JobSupervisor::dropProcess() {
    process.reset();
    job.status.update([](JobStatus::Reply& status) { status.clear_pipeline_pid(); });
}

void JobSupervisor::accept() {
    isSetUp = true;
    job.answer.accept();
}

// What cannot be prepared does not take the place of what once could.
void JobSupervisor::keep() {
    job.persistence.keep();
    const bool kept = job.persistence.isKept();
    job.status.update([&](JobStatus::Reply& status) { status.set_persistent(kept); });
    tellWhatIsNotKept();
}

void JobSupervisor::tellWhatIsNotKept() {
    const auto problem = job.persistence.problem();
    if (problem != std::exchange(toldProblem, problem)) {
        job.answer.warn("not persistent: " + problem);
        voice.lack("not persistent: " + problem);
    }
}

void JobSupervisor::forgetWhatEndedForGood() {
    const bool forGood = result->reason == JobEventEnd::END_OF_STREAM ||
                         job.stop.wish() == StopRequest::Wish::EndForGood;
    try {
        if (forGood) {
            job.persistence.forget();
        }
    } catch (const std::exception& e) {
        utils::logError(std::string("Cannot remove the persistent file: ") + e.what());
    }
}

void JobSupervisor::tellEnd() {
    if (!isSetUp) {
        const auto reason = result->reason == JobEventEnd::CRASHED
                                ? "the pipeline process was " + result->message
                                : result->message;
        utils::logError("Job setup failed: " + utils::printable(reason, JobVoice::mostLogText));
        job.answer.refuse(reason);
    }
    voice.end(*result);
}

}  // namespace tarn::peers
