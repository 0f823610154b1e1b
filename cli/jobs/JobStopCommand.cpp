#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/CommandError.h"
#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/jobs/JobSelection.h"
#include "cli/jobs/JobStop.h"
#include "cli/output/Output.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

namespace {

enum class Which { One, All };

struct StopOptions {
    std::string id;
    bool all = false;
    bool forGood = false;
    bool noWait = false;

    Which which() const { return all ? Which::All : Which::One; }
};

const char* text(StopResult::State state) {
    switch (state) {
        case StopResult::State::Stopping:
            return "stopping";
        case StopResult::State::Stopped:
            return "stopped";
        case StopResult::State::Failed:
            break;
    }
    return "failed";
}

nlohmann::ordered_json documentOf(const StopResult& result) {
    nlohmann::ordered_json document = {{"job_id", result.id}, {"state", text(result.state)}};
    if (result.state == StopResult::State::Failed) {
        document["error"] = result.error;
    }
    return document;
}

void print(const StopResult& result, Output& output) {
    if (result.state == StopResult::State::Failed) {
        output.notice(result.id + ": " + result.error);
    } else {
        output.line("job " + result.id + " " + text(result.state));
    }
}

void printAll(const std::vector<StopResult>& results, const Session& session) {
    if (session.format == Format::Json) {
        auto document = nlohmann::ordered_json{{"jobs", nlohmann::ordered_json::array()}};
        for (const auto& result : results) {
            document["jobs"].push_back(documentOf(result));
        }
        return session.output.document(document);
    }
    for (const auto& result : results) {
        print(result, session.output);
    }
    if (results.empty()) {
        session.output.line("no running jobs");
    }
}

void printOne(const StopResult& result, const Session& session) {
    if (result.state == StopResult::State::Failed) {
        throw CommandError(result.status, result.error);
    }
    show(
        session, [&] { return documentOf(result); },
        [&](Output& output) { print(result, output); });
}

// That of the first that did not go well.
ExitStatus statusOf(const std::vector<StopResult>& results) {
    for (const auto& result : results) {
        if (result.status != ExitStatus::Done) {
            return result.status;
        }
    }
    return ExitStatus::Done;
}

ExitStatus stopJobs(const StopOptions& options, const Session& session) {
    if (options.id.empty() && !options.all) {
        throw CommandError(ExitStatus::Usage, "ID or --all is required (see tarnctl --help)");
    }
    const auto jobs = options.which() == Which::All
                          ? session.service.jobs()
                          : std::vector{selectRunningJob(session.service, options.id)};
    auto results = tellToStop(session.service, jobs,
                              options.forGood ? StopOption::ForGood : StopOption::UntilNextStart);
    if (!options.noWait) {
        waitUntilGone(session.service, results);
    }
    if (options.which() == Which::All) {
        printAll(results, session);
    } else {
        printOne(results.front(), session);
    }
    return statusOf(results);
}

void addOptions(CLI::App& line, StopOptions& options) {
    auto* const id = line.add_option("ID", options.id, "The job's id, or the beginning of it");
    line.add_flag("--all", options.all, "Every running job")->excludes(id);
    line.add_flag("--for-good", options.forGood,
                  "A persistent job is not started again with the service");
    line.add_flag("--no-wait", options.noWait, "Return when the job has taken the order");
}

}  // namespace

Command jobStopCommand() {
    return {.name = "stop",
            .purpose = "Stop running jobs and wait until they are gone",
            .footer =
                "Examples:\n"
                "  tarnctl jobs stop 3f2a\n"
                "  tarnctl jobs stop 3f2a --for-good\n"
                "  tarnctl jobs stop --all",
            .prepare = with(addOptions, stopJobs)};
}

}  // namespace tarn::cli
