#include <CLI/CLI.hpp>
#include <chrono>
#include <nlohmann/json.hpp>

#include "cli/CommandError.h"
#include "cli/Interrupt.h"
#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/jobs/JobClient.h"
#include "cli/jobs/JobSelection.h"
#include "cli/jobs/LogFile.h"
#include "cli/output/Output.h"
#include "proto/api_job.pb.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::size_t usualLines = 50;
constexpr std::size_t mostLines = 100'000;
constexpr auto betweenReads = 100ms;
constexpr auto betweenListLooks = 1s;

struct LogOptions {
    std::string id;
    std::size_t lines = usualLines;
    bool follow = false;
};

std::string logFileOf(const proto::api_service::RunningJob& job, const Session& session) {
    JobClient client(session.service.endpointOfJob(job.command_endpoint()),
                     session.service.timeout());
    const auto file = client.status().log_file();
    if (file.empty()) {
        throw CommandError(ExitStatus::Failed, "the job keeps no log file");
    }
    return file;
}

void printGrowing(const std::vector<std::string>& lines, const Session& session) {
    for (const auto& line : lines) {
        if (session.format == Format::Json) {
            session.output.documentLine({{"line", line}});
        } else {
            session.output.line(line);
        }
    }
    session.output.flush();
}

// A service that is away says nothing of the job.
bool isGone(const std::string& id, ServiceClient& service) {
    try {
        return !service.findJob(id);
    } catch (const CommandError&) {
        return false;
    }
}

ExitStatus follow(LogFile& log, const std::string& id, const Session& session) {
    const Interrupt interrupt;
    auto lookAt = Clock::now() + betweenListLooks;
    do {
        const bool gone = Clock::now() >= lookAt && isGone(id, session.service);
        printGrowing(log.newLines(), session);  // the last ones were written before it was gone
        if (gone) {
            return ExitStatus::Done;
        }
        if (Clock::now() >= lookAt) {
            lookAt = Clock::now() + betweenListLooks;
        }
    } while (!interrupt.requestedWithin(betweenReads));
    return ExitStatus::Interrupted;
}

ExitStatus showLog(const LogOptions& options, const Session& session) {
    const auto job = selectRunningJob(session.service, options.id);
    const auto& id = job.job_description().job_id();
    const auto file = logFileOf(job, session);
    LogFile log(file);
    const auto lines = log.lastLines(options.lines);
    if (options.follow) {
        printGrowing(lines, session);
        return follow(log, id, session);
    }
    return show(
        session,
        [&] {
            return nlohmann::ordered_json{{"job_id", id}, {"log_file", file}, {"lines", lines}};
        },
        [&](Output&) { printGrowing(lines, session); });
}

void addOptions(CLI::App& line, LogOptions& options) {
    addJobOption(line, options.id);
    line.add_option("--lines", options.lines, "How many lines at most")
        ->check(CLI::Range(std::size_t{0}, mostLines))
        ->capture_default_str();
    line.add_flag("--follow", options.follow,
                  "Go on with what is added, until the job is gone, or Ctrl-C");
}

}  // namespace

Command jobLogCommand() {
    return {.name = "log",
            .purpose = "Show the end of a running job's log",
            .footer =
                "The log file is read where the job keeps it: on the server itself.\n"
                "Examples:\n"
                "  tarnctl jobs log 3f2a\n"
                "  tarnctl jobs log 3f2a --follow --lines 0",
            .prepare = with(addOptions, showLog)};
}

}  // namespace tarn::cli
