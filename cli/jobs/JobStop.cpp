#include "cli/jobs/JobStop.h"

#include <algorithm>
#include <set>
#include <span>
#include <thread>

#include "cli/CommandError.h"
#include "cli/client/ServiceClient.h"
#include "platform/os/Deadline.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using namespace std::chrono_literals;
using proto::api_service::RunningJob;
using State = StopResult::State;

namespace {

// A job ends its stream for up to 5 s before it is killed, and is then cleared within 2 s.
constexpr auto longestEnding = 10s;
constexpr auto betweenLooks = 50ms;
constexpr std::size_t atOnce = 100;  // each costs a socket, of which a process has a limited number

/// One order on its way.
struct Order {
    StopResult result;
    std::optional<JobClient> client;

    void fail(const CommandError& error) {
        result.state = State::Failed;
        result.status = error.status();
        result.error = error.what();
    }
};

Order send(const ServiceClient& service, const RunningJob& job, StopOption option) {
    Order order{.result = {.id = job.job_description().job_id(), .error = {}}, .client = {}};
    try {
        order.client.emplace(service.endpointOfJob(job.command_endpoint()), service.timeout());
        order.client->sendDestroyRequest(option);
    } catch (const CommandError& e) {
        order.fail(e);
    }
    return order;
}

void receive(Order& order) {
    try {
        if (order.result.state == State::Stopping) {
            order.client->receiveDestroyed();
        }
    } catch (const CommandError& e) {
        order.fail(e);
    }
}

void tellSome(const ServiceClient& service, std::span<const RunningJob> jobs, StopOption option,
              std::vector<StopResult>& results) {
    std::vector<Order> orders;
    orders.reserve(jobs.size());
    for (const auto& job : jobs) {
        orders.push_back(send(service, job, option));
    }
    for (auto& order : orders) {
        receive(order);
        results.push_back(std::move(order.result));
    }
}

std::set<std::string> listedIds(ServiceClient& service) {
    std::set<std::string> ids;
    for (const auto& job : service.jobs()) {
        ids.insert(job.job_description().job_id());
    }
    return ids;
}

bool isStopping(const StopResult& result) {
    return result.state == State::Stopping;
}

}  // namespace

std::vector<StopResult> tellToStop(const ServiceClient& service,
                                   const std::vector<RunningJob>& jobs, StopOption option) {
    std::vector<StopResult> results;
    for (std::span<const RunningJob> left(jobs); !left.empty();) {
        const auto some = left.first(std::min(atOnce, left.size()));
        tellSome(service, some, option, results);
        left = left.subspan(some.size());
    }
    return results;
}

void waitUntilGone(ServiceClient& service, std::vector<StopResult>& results) {
    const os::Deadline deadline(longestEnding);
    while (std::any_of(results.begin(), results.end(), isStopping)) {
        const auto listed = listedIds(service);
        for (auto& result : results) {
            if (isStopping(result) && !listed.contains(result.id)) {
                result.state = State::Stopped;
            } else if (isStopping(result) && deadline.hasPassed()) {
                result.state = State::Failed;
                result.status = ExitStatus::Failed;
                result.error = "job " + result.id + " took the order but still runs after 10 s";
            }
        }
        std::this_thread::sleep_for(betweenLooks);
    }
}

}  // namespace tarn::cli
