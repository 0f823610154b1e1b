// What jobs and others ask of the registry of running jobs: whatever it is, each request gets one
// reply, two jobs never hold the same id or endpoint, and what is stored is what is known.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "fuzz/inputs.pb.h"
#include "fuzz/support/MessageMutator.h"
#include "fuzz/support/QuietLog.h"
#include "fuzz/support/Require.h"
#include "platform/resource_manager/registry/Registry.h"
#include "platform/resource_manager/registry/RegistryFile.h"
#include "platform/resource_manager/server/RequestDispatcher.h"

namespace {

using namespace tarn::resource_manager;
using tarn::fuzz::RegistryRequests;
using tarn::fuzz::require;
using tarn::proto::resource_manager::Reply;
using tarn::proto::resource_manager::Request;

/// Process 1 of the input is this one, so that its jobs are alive.
Request asOfThisProcess(Request request) {
    if (request.job().process_id() == 1) {
        request.mutable_job()->set_process_id(::getpid());
        request.mutable_job()->clear_process_start_time();
    }
    if (request.process_id() == 1) {
        request.set_process_id(::getpid());
        request.clear_process_start_time();
    }
    return request;
}

void checkReply(const Request& request, const Reply& reply) {
    require(reply.type() == request.type() && reply.has_success());
    require(reply.success() == !reply.has_error_message());
    Reply read;
    require(read.ParseFromString(reply.SerializeAsString()));
}

void checkJobs(const std::list<RunningJob>& jobs) {
    std::set<std::string> ids;
    std::set<std::string> held;
    for (const auto& job : jobs) {
        require(ids.insert(job.getJobDescription().getJobId()).second);
        const auto& endpoints = job.getValuesOf("Endpoint");
        for (const auto& endpoint : std::set<std::string>(endpoints.begin(), endpoints.end())) {
            require(endpoint.empty() || held.insert(endpoint).second);
        }
    }
}

/// The same file for all inputs, in memory: what one leaves behind is replaced by the next.
void checkStored(const std::list<RunningJob>& jobs) {
    static RegistryFile file(":memory:");
    file.replace({.jobs = {jobs.begin(), jobs.end()}, .deltacastConfiguration = {}});
    const auto stored = file.load().jobs;
    require(stored.size() == jobs.size());
    auto known = jobs.begin();
    for (const auto& job : stored) {
        require(job.toProtoBuf().SerializeAsString() == known->toProtoBuf().SerializeAsString());
        ++known;
    }
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t mostBytes, unsigned seed) {
    RegistryRequests input;
    return tarn::fuzz::mutateBytes(input, data, size, mostBytes, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tarn::fuzz::logIntoNothing();
    RegistryRequests input;
    input.ParsePartialFromArray(data, static_cast<int>(size));
    const auto registry = std::make_shared<Registry>();
    const RequestDispatcher dispatcher(registry);
    for (const auto& given : input.request()) {
        const auto request = asOfThisProcess(given);
        checkReply(request, dispatcher.answer(request));
    }
    const auto jobs = registry->runningJobs();
    checkJobs(jobs);
    checkStored(jobs);
    return 0;
}
