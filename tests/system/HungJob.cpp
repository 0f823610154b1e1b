#include "tests/system/HungJob.h"

#include <stdexcept>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/UuidGenerator.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::test {

namespace {

resource_manager::JobDescription descriptionOf(const std::string& id) {
    proto::job_monitoring::JobDescription description;
    description.set_name("hung");
    description.set_job_id(id);
    return resource_manager::JobDescription(description);
}

}  // namespace

HungJob::HungJob() : jobId(utils::UuidGenerator::Generate()) {
    const std::string endpoint = "ipc:///tmp/hung-" + jobId;
    commands.bind(endpoint);
    resource_manager::ResourceManagerProxy proxy;
    std::string error;
    const resource_manager::RunningJob job(descriptionOf(jobId), endpoint, endpoint + "-events",
                                           os::ProcessIdentity::ofThisProcess(), {});
    if (!proxy.connect(socket::SocketEndpoint::FromString("ipc:///tmp/resource"), error) ||
        !proxy.registerJob(job, error)) {
        throw std::runtime_error(error);
    }
}

bool HungJob::gotSomething(std::chrono::milliseconds bound) {
    return commands.receive(bound).has_value();
}

}  // namespace tarn::test
