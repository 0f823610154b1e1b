#include "cli/jobs/JobStates.h"

#include <algorithm>
#include <optional>
#include <span>

#include "cli/CommandError.h"
#include "cli/client/ServiceClient.h"
#include "cli/jobs/JobClient.h"
#include "cli/jobs/JobReporter.h"
#include "proto/api_job.pb.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using proto::api_service::RunningJob;

namespace {

constexpr std::chrono::milliseconds bound(1000);
constexpr std::size_t atOnce = 100;  // each costs a socket, of which a process has a limited number

std::optional<JobClient> startAsking(const ServiceClient& service, const RunningJob& job) {
    try {
        JobClient client(service.endpointOfJob(job.command_endpoint()),
                         std::min(bound, service.timeout()));
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

}  // namespace

std::vector<std::string> askForStates(const ServiceClient& service,
                                      const std::vector<RunningJob>& jobs) {
    std::vector<std::string> states;
    for (std::span<const RunningJob> left(jobs); !left.empty();) {
        const auto some = left.first(std::min(atOnce, left.size()));
        askSome(service, some, states);
        left = left.subspan(some.size());
    }
    return states;
}

}  // namespace tarn::cli
