#include "cli/jobs/JobSelection.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "cli/CommandError.h"
#include "cli/client/ServiceClient.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using proto::api_service::RunningJob;

namespace {

constexpr std::size_t shortestPrefix = 4;

[[noreturn]] void fail(const std::string& text) {
    throw CommandError(ExitStatus::Failed, text);
}

}  // namespace

const RunningJob& selectJob(const std::vector<RunningJob>& jobs, const std::string& idOrPrefix) {
    std::vector<const RunningJob*> candidates;
    for (const RunningJob& job : jobs) {
        if (job.job_description().job_id() == idOrPrefix) {
            return job;
        }
        if (job.job_description().job_id().starts_with(idOrPrefix)) {
            candidates.push_back(&job);
        }
    }
    if (idOrPrefix.size() < shortestPrefix) {
        fail(fmt::format("\"{}\" is too short for a job id: give at least {} characters",
                         idOrPrefix, shortestPrefix));
    }
    if (candidates.empty()) {
        fail(fmt::format("no running job has the id \"{}\"", idOrPrefix));
    }
    if (candidates.size() > 1) {
        fail(fmt::format("\"{}\" begins the id of {} running jobs: give more of it", idOrPrefix,
                         candidates.size()));
    }
    return *candidates.front();
}

void addJobOption(CLI::App& line, std::string& idOrPrefix) {
    line.add_option("ID", idOrPrefix, "The job's id, or the beginning of it")->required();
}

RunningJob selectRunningJob(ServiceClient& service, const std::string& idOrPrefix) {
    return selectJob(service.jobs(), idOrPrefix);
}

}  // namespace tarn::cli
