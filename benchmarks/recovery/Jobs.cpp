#include "benchmarks/recovery/Jobs.h"

#include <chrono>
#include <fstream>
#include <set>
#include <stdexcept>

#include "platform/utils/UuidGenerator.h"
#include "tests/support/Eventually.h"
#include "tests/system/harness/Api.h"
#include "tests/system/harness/JobCommands.h"

namespace tarn::benchmarks {

using proto::service_job::ServiceToJobRequest;
using proto::service_job::ServiceToJobRequestSetup;

namespace {

constexpr std::chrono::minutes patience{2};

std::string newEndpoint() {
    return "ipc:///tmp/" + utils::UuidGenerator::Generate();
}

bool plays(const test::JobAddress& job) {
    const auto status = test::JobCommands(job.commandEndpoint).status();
    return status && status->state() == proto::job_monitoring::JOB_STATE_PLAYING;
}

}  // namespace

ServiceToJobRequest newSetup() {
    ServiceToJobRequest request;
    request.set_type(ServiceToJobRequest::SETUP);
    auto& setup = *request.MutableExtension(ServiceToJobRequestSetup::base);
    setup.mutable_job_description()->set_job_id(utils::UuidGenerator::Generate());
    setup.mutable_job_description()->set_name("benchmark");
    setup.set_job_configuration(lightPipeline);
    setup.set_first_job_endpoint(newEndpoint());
    setup.set_second_job_endpoint(newEndpoint());
    setup.set_resources_endpoint("ipc:///tmp/resource");
    auto& endpoints = *setup.add_resources_to_reserve();
    endpoints.set_name("Endpoint");
    endpoints.add_values(setup.first_job_endpoint());
    endpoints.add_values(setup.second_job_endpoint());
    return request;
}

void writePersistentJob(const std::string& path) {
    auto request = newSetup();
    request.MutableExtension(ServiceToJobRequestSetup::base)->set_persistent_file_path(path);
    std::ofstream file(path, std::ios::binary);
    if (!request.SerializeToOstream(&file)) {
        throw std::runtime_error("cannot write " + path);
    }
}

void waitUntilPlaying(std::size_t jobs) {
    std::set<std::string> playing;
    const auto allPlay = [&] {
        const auto listed = test::Api().jobs();
        if (!listed || listed->size() < jobs) {
            return false;
        }
        for (const auto& job : *listed) {
            if (!playing.contains(job.id) && plays(job)) {
                playing.insert(job.id);
            }
        }
        return playing.size() >= jobs;
    };
    if (!test::eventually(allPlay, patience)) {
        throw std::runtime_error("not all jobs play");
    }
}

}  // namespace tarn::benchmarks
