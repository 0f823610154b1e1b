#include <nlohmann/json.hpp>
#include <optional>

#include "cli/CommandError.h"
#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/jobs/JobClient.h"
#include "cli/jobs/JobOwnerText.h"
#include "cli/jobs/JobReporter.h"
#include "cli/jobs/JobSelection.h"
#include "cli/output/ClockTime.h"
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
                     {"Owner", ownerText(job)},
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
    return show(
        session, [&] { return documentOf(job, answer); },
        [&](Output& output) { print(job, answer, output); });
}

}  // namespace

Command jobShowCommand() {
    return {.name = "show",
            .purpose = "Show one running job and what it does",
            .footer =
                "Example:\n"
                "  tarnctl jobs show 3f2a",
            .prepare = with(addJobOption, showJob)};
}

}  // namespace tarn::cli
