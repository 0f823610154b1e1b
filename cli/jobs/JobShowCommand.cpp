#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "cli/CommandError.h"
#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/jobs/JobClient.h"
#include "cli/jobs/JobProgress.h"
#include "cli/jobs/JobReporter.h"
#include "cli/jobs/JobSelection.h"
#include "cli/output/Json.h"
#include "cli/output/Output.h"
#include "proto/api_job.pb.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using proto::api_job::JobToApiReplyStatus;
using proto::api_service::RunningJob;

namespace {

/// What the job said of itself, or why it said nothing.
struct StatusAnswer {
    std::optional<JobToApiReplyStatus> status;
    std::string error;
};

StatusAnswer askForStatus(const ServiceClient& service, const RunningJob& job) {
    try {
        JobClient client(service.endpointOfJob(job.command_endpoint()), service.timeout());
        return {client.status(), ""};
    } catch (const CommandError& e) {
        return {std::nullopt, e.what()};
    }
}

std::string positionText(const JobToApiReplyStatus& status) {
    std::string text;
    if (status.has_position_ns() && status.position_ns() >= 0) {
        text = clockText(std::chrono::nanoseconds(status.position_ns()));
        if (status.duration_ns() > 0) {
            text += " of " + clockText(std::chrono::nanoseconds(status.duration_ns()));
        }
    }
    return text;
}

std::string uptimeText(const JobToApiReplyStatus& status) {
    return status.has_uptime_ns() ? clockText(std::chrono::nanoseconds(status.uptime_ns())) : "";
}

Fields fieldsOf(const JobToApiReplyStatus& status) {
    return {{"State", stateText(status.state())},
            {"Position", positionText(status)},
            {"Running for", uptimeText(status)},
            {"Restarts", std::to_string(status.restarts())},
            {"Last failure", status.last_failure()},
            {"Persistent", status.persistent() ? "yes" : "no"},
            {"Process", status.has_pipeline_pid() ? std::to_string(status.pipeline_pid()) : ""},
            {"Log file", status.log_file()},
            {"Pipeline", status.job_configuration()}};
}

void print(const RunningJob& job, const StatusAnswer& answer, Output& output) {
    const auto& description = job.job_description();
    Fields fields = {{"Id", description.job_id()},
                     {"Name", description.name()},
                     {"Description", description.description()},
                     {"Creator", description.creator()},
                     {"Commands", job.command_endpoint()},
                     {"Events", job.event_endpoint()}};
    const Fields state = answer.status ? fieldsOf(*answer.status) : Fields{{"State", answer.error}};
    fields.insert(fields.end(), state.begin(), state.end());
    output.fields(fields);
}

nlohmann::ordered_json documentOf(const RunningJob& job, const StatusAnswer& answer) {
    auto document = toJson(job);
    if (answer.status) {
        document["status"] = toJson(*answer.status);
    } else {
        document["status_error"] = answer.error;
    }
    return document;
}

ExitStatus showJob(const std::string& id, const Session& session) {
    const RunningJob job = selectRunningJob(session.service, id);
    const StatusAnswer answer = askForStatus(session.service, job);
    if (session.format == Format::Json) {
        session.output.document(documentOf(job, answer));
    } else {
        print(job, answer, session.output);
    }
    return ExitStatus::Done;
}

}  // namespace

void addJobShowCommand(CLI::App& jobs, Action& chosen) {
    const auto id = std::make_shared<std::string>();
    CLI::App* command = jobs.add_subcommand("show", "Show one running job and what it does");
    command->add_option("ID", *id, "The job's id, or the beginning of it")->required();
    command->footer(
        "Example:\n"
        "  tarnctl jobs show 3f2a");
    command->callback(
        [id, &chosen] { chosen = [id](const Session& session) { return showJob(*id, session); }; });
}

}  // namespace tarn::cli
