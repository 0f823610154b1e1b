#include "peers/job_runtime/supervision/JobSupervisor.h"

#include <signal.h>

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

#include "peers/job_runtime/JobSetup.h"
#include "peers/job_runtime/events/JobStatus.h"
#include "peers/job_runtime/persistence/Persistence.h"
#include "peers/job_runtime/registration/Admission.h"
#include "peers/job_runtime/supervision/InputWait.h"
#include "peers/job_runtime/supervision/SetupAnswer.h"
#include "peers/job_runtime/supervision/StopRequest.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"
#include "proto/pipeline_control.pb.h"
#include "proto/service.pb.h"

namespace tarn::peers {

using namespace tarn::proto::job_monitoring;

namespace {

using State = JobLifecycle::State;
using tarn::service::proto::JobCell;

void logCellOf(const tarn::proto::pipeline_control::PipelineReport& report) {
    if (report.has_cell()) {
        utils::logInfo("Cell: " + utils::printable(report.cell(), JobVoice::mostLogText));
    }
    for (const auto& lack : report.cell_lacks()) {
        utils::logWarning("Cell: " + utils::printable(lack, JobVoice::mostLogText));
    }
}

void logWarningOf(const tarn::proto::pipeline_control::PipelineReport& report) {
    utils::logWarning(
        "Pipeline warning: " + utils::printable(report.message(), JobVoice::mostLogText) + " " +
        utils::printable(report.detail(), JobVoice::mostLogText));
}

}  // namespace

JobSupervisor::JobSupervisor(const Dependencies& dependencies,
                             std::unique_ptr<PipelineProcess> started)
    : job(dependencies), voice(job.status, job.events, job.now), process(std::move(started)) {}

void JobSupervisor::run() {
    tellWhatIsNotKept();
    startRun(job.now());
    while (!lifecycle.isOver()) {
        waitForSomething();
        step(job.now());
    }
    forgetWhatEndedForGood();
}

void JobSupervisor::refuse(const std::string& reason) {
    end({JobEventEnd::FAILED, {}, reason});
}

JobSupervisor::Clock::time_point JobSupervisor::nextDeadline() const {
    auto next = voice.deadline();
    for (const auto& due :
         {lifecycle.deadline(), job.answer.deadline(), job.admission.deadline()}) {
        next = std::min(next, due.value_or(next));
    }
    return next;
}

void JobSupervisor::waitForSomething() const {
    std::vector<int> inputs = {job.stop.descriptor(), job.admission.descriptor()};
    if (process) {
        const auto ofProcess = process->descriptors();
        inputs.insert(inputs.end(), ofProcess.begin(), ofProcess.end());
    }
    waitForInput(inputs, nextDeadline() - job.now());
}

void JobSupervisor::step(Clock::time_point now) {
    followWish(now);
    if (lifecycle.isRunning()) {
        stepRunning(now);
    } else {
        follow(lifecycle.takeDue(now), now);
    }
    followAdmission(now);
    if (!lifecycle.isOver()) {
        job.answer.step(now);
        voice.step(now);
    }
}

void JobSupervisor::stepRunning(Clock::time_point now) {
    process->read();
    takeReports(now);
    if (const auto ended = process->end()) {
        takeReports(now);  // the last ones may have come with the end
        return endRun(lifecycle.judged(*ended), now);
    }
    if (process->isSilent()) {
        lifecycle.closeSilently(now);
    }
    follow(lifecycle.takeDue(now), now);
}

void JobSupervisor::followWish(Clock::time_point now) {
    if (job.stop.take() == StopRequest::Wish::None || lifecycle.isOver()) {
        return;
    }
    if (lifecycle.state() == State::Waiting) {
        end({JobEventEnd::DESTROYED, {}, "destroyed while waiting to be played again"});
    } else if (lifecycle.state() != State::Ready) {
        end({JobEventEnd::DESTROYED, {}, "destroyed before it was ready to play"});
    } else if (!lifecycle.isClosed()) {
        lifecycle.close(RunFacts::Ending::StopAsked, now);
        voice.show(JOB_STATE_STOPPING);
        command([](PipelineProcess& told) { told.finish(); });
    }
}

// The registry is asked in every state, also between two runs: a refusal ends the job at once.
void JobSupervisor::followAdmission(Clock::time_point now) {
    if (lifecycle.isOver()) {
        return;
    }
    const auto admission = job.admission.step(now);
    if (admission == Admission::State::Refused) {
        end({JobEventEnd::FAILED, {}, job.admission.reason()});
    } else if (admission == Admission::State::Admitted &&
               lifecycle.take(JobLifecycle::Event::Admitted)) {
        command([](PipelineProcess& told) { told.prepare(); });
    }
}

void JobSupervisor::follow(JobLifecycle::Due due, Clock::time_point now) {
    switch (due) {
        case JobLifecycle::Due::Nothing:
            return;
        case JobLifecycle::Due::Terminate:
            utils::logWarning("The pipeline process does not end: SIGTERM");
            return process->signalGroup(SIGTERM);
        case JobLifecycle::Due::Kill:
            utils::logWarning("The pipeline process does not end: SIGKILL");
            return process->signalGroup(SIGKILL);
        case JobLifecycle::Due::GiveUp:
            return endRun(lifecycle.judged({}), now);
        case JobLifecycle::Due::NotReady:
            return failUnready(now);
        case JobLifecycle::Due::NextRun:
            return playAgain(now);
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
            logCellOf(report);
            lifecycle.take(JobLifecycle::Event::Parsed);
            return job.admission.checked();
        case Report::PREPARED:
            return lifecycle.take(JobLifecycle::Event::Prepared) ? getReady() : void();
        case Report::PLAYING:
            lifecycle.playing(now);
            return lifecycle.isClosed() ? void() : voice.show(JOB_STATE_PLAYING);
        case Report::PROGRESS:
            return voice.progress(report);
        case Report::WARNING:
            return logWarningOf(report);
        case Report::FAILURE:
            lifecycle.fail(report.message(), now);
            return voice.failure(report.message(), report.detail());
        case Report::END_OF_STREAM:
            return lifecycle.close(RunFacts::Ending::EndOfStream, now);
        case Report::UNKNOWN:
            return;
    }
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

void JobSupervisor::startRun(Clock::time_point now) {
    lifecycle.beginRun(now);
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
    const auto& cell = job.setup.cell ? *job.setup.cell : JobCell::default_instance();
    command([&](PipelineProcess& told) {
        told.parse(job.setup.pipeline, job.setup.environment, cell);
    });
}

void JobSupervisor::playAgain(Clock::time_point now) {
    job.status.update([](JobStatus::Reply& status) { status.set_restarts(status.restarts() + 1); });
    startRun(now);
}

// Kept before the answer: what was acknowledged comes back after a crash of the machine.
void JobSupervisor::getReady() {
    if (!std::exchange(wasReady, true)) {
        keep();
        job.answer.accept();
    }
    command([](PipelineProcess& told) { told.play(); });
}

void JobSupervisor::failUnready(Clock::time_point now) {
    constexpr auto reason = "the pipeline was not ready in time";
    if (lifecycle.blame(reason)) {
        voice.failure(reason, {});
    }
    lifecycle.close(RunFacts::Ending::Failure, now);
    endRun(lifecycle.judged({}), now);
}

// A job that comes back could be prepared once: what it lacks now may come later, a server that has
// not been started yet or a track that somebody else still holds. Refused, it would stay away until
// the next start of the service.
void JobSupervisor::endRun(const RunResult& ended, Clock::time_point now) {
    dropProcess();
    if (ended.reason == JobEventEnd::CRASHED) {
        voice.failure("the pipeline process was " + ended.message, {});
    }
    const bool stopWished = job.stop.wish() != StopRequest::Wish::None;
    const auto delay = lifecycle.endRun(ended, job.persistence.isKept() && !stopWished, now);
    if (!delay) {
        return end(ended);
    }
    utils::logInfo("Played again in " + std::to_string(delay->count()) + " ms");
    voice.show(JOB_STATE_WAITING_TO_RESTART);
    job.answer.accept();
}

void JobSupervisor::end(const RunResult& ended) {
    dropProcess();
    result = ended;
    lifecycle.take(JobLifecycle::Event::Ended);
}

void JobSupervisor::dropProcess() {
    process.reset();
    job.status.update([](JobStatus::Reply& status) { status.clear_pipeline_pid(); });
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
    if (!wasSetUp()) {
        const auto reason = result->reason == JobEventEnd::CRASHED
                                ? "the pipeline process was " + result->message
                                : result->message;
        utils::logError("Job setup failed: " + utils::printable(reason, JobVoice::mostLogText));
        job.answer.refuse(reason);
    }
    voice.end(*result);
}

}  // namespace tarn::peers
