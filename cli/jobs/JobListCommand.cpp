#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>

#include "cli/CommandError.h"
#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/jobs/JobClient.h"
#include "cli/jobs/JobOwnerText.h"
#include "cli/jobs/JobReporter.h"
#include "cli/output/Json.h"
#include "cli/output/Output.h"
#include "cli/output/Table.h"
#include "proto/api_job.pb.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using nlohmann::ordered_json;
using proto::api_service::ApiToServiceRequestGetJobs;
using proto::api_service::RunningJob;

namespace {

struct ListOptions {
    std::optional<std::string> property;
    std::string value;
    bool states = false;
};

constexpr std::chrono::milliseconds longestAnswer(1000);
constexpr std::size_t askedAtOnce =
    100;  // each costs a socket, of which a process has a limited number

std::optional<JobClient> startAsking(const ServiceClient& service, const RunningJob& job) {
    try {
        JobClient client(service.endpointOfJob(job.command_endpoint()),
                         std::min(longestAnswer, service.timeout()));
        client.sendStatusRequest();
        return client;
    } catch (const CommandError&) {
        return std::nullopt;
    }
}

std::string answerOf(std::optional<JobClient>& client) {
    try {
        return client ? stateText(client->receiveStatus().state()) : "no answer";
    } catch (const CommandError&) {
        return "no answer";
    }
}

void askSome(const ServiceClient& service, std::span<const RunningJob> jobs,
             std::vector<std::string>& states) {
    std::vector<std::optional<JobClient>> clients;
    clients.reserve(jobs.size());
    for (const RunningJob& job : jobs) {
        clients.push_back(startAsking(service, job));
    }
    for (auto& client : clients) {
        states.push_back(answerOf(client));
    }
}

// The state that each of the jobs answers, in the same order; "no answer" for one that stays
// silent. They are asked at the same time, so that a silent one costs no more than a second.
std::vector<std::string> askForStates(const ServiceClient& service,
                                      const std::vector<RunningJob>& jobs) {
    std::vector<std::string> states;
    for (std::span<const RunningJob> left(jobs); !left.empty();) {
        const auto some = left.first(std::min(askedAtOnce, left.size()));
        askSome(service, some, states);
        left = left.subspan(some.size());
    }
    return states;
}

ApiToServiceRequestGetJobs filterOf(const ListOptions& options) {
    ApiToServiceRequestGetJobs filter;
    if (options.property) {
        filter.set_property(*options.property);
        filter.set_value(options.value);
    }
    return filter;
}

// `states` holds one for each job, or is empty where they were not asked for.
ordered_json documentOf(const std::vector<RunningJob>& jobs,
                        const std::vector<std::string>& states) {
    ordered_json list = ordered_json::array();
    for (const RunningJob& job : jobs) {
        ordered_json entry = toJson(job);
        if (!states.empty()) {
            entry["state"] = states[list.size()];
        }
        list.push_back(std::move(entry));
    }
    return {{"running_jobs", std::move(list)}};
}

Table tableOf(const std::vector<RunningJob>& jobs, const std::vector<std::string>& states) {
    std::vector<std::string> header = {"ID", "NAME", "OWNER", "COMMAND ENDPOINT", "EVENT ENDPOINT"};
    if (!states.empty()) {
        header.insert(header.begin() + 2, "STATE");
    }
    Table table(std::move(header));
    std::size_t index = 0;
    for (const RunningJob& job : jobs) {
        std::vector<std::string> row = {job.job_description().job_id(),
                                        job.job_description().name(), ownerText(job),
                                        job.command_endpoint(), job.event_endpoint()};
        if (!states.empty()) {
            row.insert(row.begin() + 2, states[index++]);
        }
        table.add(row);
    }
    return table;
}

ExitStatus listJobs(const ListOptions& options, const Session& session) {
    const auto jobs = session.service.jobs(filterOf(options));
    const auto states =
        options.states ? askForStates(session.service, jobs) : std::vector<std::string>();
    return show(
        session, [&] { return documentOf(jobs, states); },
        [&](Output& output) { output.table(tableOf(jobs, states), "no running jobs"); });
}

void addOptions(CLI::App& line, ListOptions& options) {
    auto* property = line.add_option("--property", options.property,
                                     "Only jobs that have this property with --value");
    auto* value = line.add_option("--value", options.value, "The property's value");
    property->needs(value);
    value->needs(property);
    line.add_flag("--state", options.states,
                  "Also ask each job for its state, for a second at most");
}

}  // namespace

Command jobListCommand() {
    return {.name = "list",
            .purpose = "List the running jobs",
            .footer =
                "Examples:\n"
                "  tarnctl jobs list\n"
                "  tarnctl jobs list --property studio --value 2 --state",
            .prepare = with(addOptions, listJobs)};
}

}  // namespace tarn::cli
