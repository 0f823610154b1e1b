#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/jobs/JobStates.h"
#include "cli/output/Json.h"
#include "cli/output/Output.h"
#include "cli/output/Table.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using nlohmann::ordered_json;
using proto::api_service::ApiToServiceRequestGetJobs;
using proto::api_service::RunningJob;

namespace {

struct ListOptions {
    std::string property;
    std::string value;
    bool filtered = false;
    bool states = false;
};

ApiToServiceRequestGetJobs filterOf(const ListOptions& options) {
    ApiToServiceRequestGetJobs filter;
    if (options.filtered) {
        filter.set_property(options.property);
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
    std::vector<std::string> header = {"ID", "NAME", "COMMAND ENDPOINT", "EVENT ENDPOINT"};
    if (!states.empty()) {
        header.insert(header.begin() + 2, "STATE");
    }
    Table table(std::move(header));
    std::size_t index = 0;
    for (const RunningJob& job : jobs) {
        std::vector<std::string> row = {job.job_description().job_id(),
                                        job.job_description().name(), job.command_endpoint(),
                                        job.event_endpoint()};
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
    if (session.format == Format::Json) {
        session.output.document(documentOf(jobs, states));
    } else if (jobs.empty()) {
        session.output.line("no running jobs");
    } else {
        session.output.table(tableOf(jobs, states));
    }
    return ExitStatus::Done;
}

}  // namespace

void addJobListCommand(CLI::App& jobs, Action& chosen) {
    const auto options = std::make_shared<ListOptions>();
    CLI::App* command = jobs.add_subcommand("list", "List the running jobs");
    auto* property = command->add_option("--property", options->property,
                                         "Only jobs that have this property with --value");
    auto* value = command->add_option("--value", options->value, "The property's value");
    property->needs(value);
    value->needs(property);
    command->add_flag("--state", options->states,
                      "Also ask each job for its state, for a second at most");
    command->footer(
        "Examples:\n"
        "  tarnctl jobs list\n"
        "  tarnctl jobs list --property studio --value 2 --state");
    command->callback([options, property, &chosen] {
        options->filtered = property->count() > 0;
        chosen = [options](const Session& session) { return listJobs(*options, session); };
    });
}

}  // namespace tarn::cli
