#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "cli/CommandError.h"
#include "cli/Commands.h"
#include "cli/JobClient.h"
#include "cli/JobSelection.h"
#include "cli/Output.h"
#include "cli/ServiceClient.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

// A job ends its stream for up to 5 s before it is killed, and is then cleared within 2 s.
constexpr auto longestEnding = 10s;
constexpr auto betweenLooks = 50ms;

struct StopOptions {
    std::string id;
    bool forGood = false;
    bool noWait = false;
};

void waitUntilGone(ServiceClient& service, const std::string& id) {
    const auto giveUpAt = Clock::now() + longestEnding;
    while (service.findJob(id)) {
        if (Clock::now() >= giveUpAt) {
            throw CommandError(ExitStatus::Failed,
                               "job " + id + " took the order but still runs after 10 s");
        }
        std::this_thread::sleep_for(betweenLooks);
    }
}

void print(const std::string& id, const char* state, const Session& session) {
    if (session.format == Format::Json) {
        session.output.document({{"job_id", id}, {"state", state}});
    } else {
        session.output.line("job " + id + " " + state);
    }
}

ExitStatus stopJob(const StopOptions& options, const Session& session) {
    const auto job = selectRunningJob(session.service, options.id);
    JobClient client(session.service.endpointOfJob(job.command_endpoint()),
                     session.service.timeout());
    client.destroy(options.forGood ? StopOption::ForGood : StopOption::UntilNextStart);
    const std::string& id = job.job_description().job_id();
    if (!options.noWait) {
        waitUntilGone(session.service, id);
    }
    print(id, options.noWait ? "stopping" : "stopped", session);
    return ExitStatus::Done;
}

}  // namespace

void addJobStopCommand(CLI::App& jobs, Action& chosen) {
    const auto options = std::make_shared<StopOptions>();
    CLI::App* command = jobs.add_subcommand("stop", "Stop a running job and wait until it is gone");
    command->add_option("ID", options->id, "The job's id, or the beginning of it")->required();
    command->add_flag("--for-good", options->forGood,
                      "A persistent job is not started again with the service");
    command->add_flag("--no-wait", options->noWait, "Return when the job has taken the order");
    command->footer(
        "Examples:\n"
        "  tarnctl jobs stop 3f2a\n"
        "  tarnctl jobs stop 3f2a --for-good");
    command->callback([options, &chosen] {
        chosen = [options](const Session& session) { return stopJob(*options, session); };
    });
}

}  // namespace tarn::cli
