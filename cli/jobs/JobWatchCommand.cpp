#include <CLI/CLI.hpp>
#include <memory>

#include "cli/Interrupt.h"
#include "cli/commands/Commands.h"
#include "cli/jobs/JobReporter.h"
#include "cli/jobs/JobSelection.h"
#include "cli/jobs/JobWatcher.h"
#include "cli/output/Output.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using proto::api_service::RunningJob;

namespace {

std::unique_ptr<JobReporter> reporterFor(const RunningJob& job, const Session& session) {
    if (session.format == Format::Json) {
        return std::make_unique<JsonEventReporter>(session.output);
    }
    const auto& description = job.job_description();
    return std::make_unique<ProgressReporter>(
        session.output.errorStream(), session.output.terminal(),
        description.name().empty() ? description.job_id() : description.name());
}

ExitStatus watchJob(const std::string& id, const Session& session) {
    const Interrupt interrupt;
    const RunningJob job = selectRunningJob(session.service, id);
    const auto reporter = reporterFor(job, session);
    JobWatcher watcher(session.service, job);
    const JobOutcome outcome = watcher.watch(JobFollower::Begin::Running, *reporter, interrupt);
    session.output.conclude(outcome, session.format);
    return outcome.exitStatus();
}

}  // namespace

void addJobWatchCommand(CLI::App& jobs, Action& chosen) {
    const auto id = std::make_shared<std::string>();
    CLI::App* command =
        jobs.add_subcommand("watch", "Follow a running job until it ends, or Ctrl-C");
    command->add_option("ID", *id, "The job's id, or the beginning of it")->required();
    command->footer(
        "The job's end is the exit status: 0 for the end of its stream. Ctrl-C leaves the job "
        "alone.\n"
        "With --json each event is one line.\n"
        "Examples:\n"
        "  tarnctl jobs watch 3f2a\n"
        "  tarnctl --json jobs watch 3f2a | jq .type");
    command->callback([id, &chosen] {
        chosen = [id](const Session& session) { return watchJob(*id, session); };
    });
}

}  // namespace tarn::cli
