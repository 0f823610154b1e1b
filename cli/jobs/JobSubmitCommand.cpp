#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/Interrupt.h"
#include "cli/OptionChecks.h"
#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/jobs/JobReporter.h"
#include "cli/jobs/JobSubmission.h"
#include "cli/jobs/JobWatcher.h"
#include "cli/output/Output.h"
#include "platform/utils/UuidGenerator.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using nlohmann::ordered_json;
using proto::api_service::RunningJob;

namespace {

struct SubmitOptions {
    JobSubmission submission;
    bool wait = false;
};

RunningJob submit(JobSubmission submission, ServiceClient& service) {
    if (submission.id.empty()) {
        submission.id = tarn::utils::UuidGenerator::Generate();
    }
    const auto message = toMessage(submission);
    const auto reply = service.submitJob(message);
    RunningJob job;
    *job.mutable_job_description() = message.job_description();
    job.set_command_endpoint(reply.first_job_endpoint());
    job.set_event_endpoint(reply.second_job_endpoint());
    return job;
}

ordered_json documentOf(const RunningJob& job) {
    return {{"job_id", job.job_description().job_id()},
            {"command_endpoint", job.command_endpoint()},
            {"event_endpoint", job.event_endpoint()}};
}

void print(const RunningJob& job, Output& output) {
    output.fields({{"Job", job.job_description().job_id()},
                   {"Commands", job.command_endpoint()},
                   {"Events", job.event_endpoint()}});
    output.flush();
}

ExitStatus waitFor(const RunningJob& job, const Session& session) {
    const Interrupt interrupt;
    const auto& description = job.job_description();
    ProgressReporter reporter(
        session.output.errorStream(), session.output.terminal(),
        description.name().empty() ? description.job_id() : description.name());
    JobWatcher watcher(session.service, job);
    const JobOutcome outcome = watcher.watch(JobFollower::Begin::Submitted, reporter, interrupt);
    if (session.format == Format::Json) {
        ordered_json document = documentOf(job);
        document["outcome"] = outcome.word();
        document["outcome_text"] = outcome.text;
        session.output.document(document);
    }
    return conclude(outcome, session);
}

ExitStatus submitJob(const SubmitOptions& options, const Session& session) {
    const RunningJob job = submit(options.submission, session.service);
    if (session.format == Format::Text) {
        print(job, session.output);
    } else if (!options.wait) {
        session.output.document(documentOf(job));
    }
    return options.wait ? waitFor(job, session) : ExitStatus::Done;
}

void addOptions(CLI::App& command, SubmitOptions& options) {
    JobSubmission& job = options.submission;
    command.add_option("--pipeline", job.pipeline, "What the job does: a GStreamer launch line")
        ->required();
    command.add_option("--name", job.name, "What operators call the job");
    command.add_option("--id", job.id, "The job's UUID; a new one by default")->check(checkUuid);
    command
        .add_option("--property", job.properties,
                    "K=V: a property to find the job by; may be repeated")
        ->allow_extra_args(false)
        ->check(checkProperty);
    auto* persistent = command.add_flag("--persistent", job.persistent,
                                        "Start the job again whenever the service starts");
    command.add_option("--persistent-name", job.persistentName, "The name of the job's file")
        ->needs(persistent)
        ->check(checkFileName);
    command.add_flag("--wait", options.wait,
                     "Show the job's progress until it ends; its end is the exit status");
}

}  // namespace

Command jobsFamily() {
    return {.name = "jobs",
            .purpose = "List, submit, follow and stop jobs",
            .footer =
                "Examples:\n"
                "  tarnctl jobs list\n"
                "  tarnctl jobs submit --pipeline 'videotestsrc ! autovideosink'"};
}

Command jobSubmitCommand() {
    return {.name = "submit",
            .purpose = "Hand the service a job to launch",
            .footer =
                "Without --wait the job is accepted when this returns, and may not play yet.\n"
                "Examples:\n"
                "  tarnctl jobs submit --name test --pipeline 'videotestsrc ! autovideosink'\n"
                "  tarnctl jobs submit --wait --property studio=2 \\\n"
                "      --pipeline 'filesrc location=in.mp4 ! decodebin ! fakesink'",
            .prepare = with(addOptions, submitJob)};
}

}  // namespace tarn::cli
