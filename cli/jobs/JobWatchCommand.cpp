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
    return conclude(outcome, session);
}

}  // namespace

Command jobWatchCommand() {
    return {.name = "watch",
            .purpose = "Follow a running job until it ends, or Ctrl-C",
            .footer =
                "The job's end is the exit status: 0 for the end of its stream. Ctrl-C "
                "leaves the job alone.\n"
                "With --json each event is one line.\n"
                "Examples:\n"
                "  tarnctl jobs watch 3f2a\n"
                "  tarnctl --json jobs watch 3f2a | jq .type",
            .prepare = with(addJobOption, watchJob)};
}

}  // namespace tarn::cli
