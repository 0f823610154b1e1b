#include "tests/platform/resource_manager/TestJobs.h"

#include "proto/job_monitoring.pb.h"

namespace tarn::resource_manager::test {

namespace {

RunningJob::Resources endpointResource(const std::vector<std::string>& endpoints) {
    return endpoints.empty() ? RunningJob::Resources()
                             : RunningJob::Resources{{"Endpoint", endpoints}};
}

}  // namespace

RunningJob jobOf(const os::ProcessIdentity& process, const std::string& id,
                 const RunningJob::Resources& resources) {
    tarn::proto::job_monitoring::JobDescription description;
    description.set_job_id(id);
    description.set_name("name of " + id);
    description.set_description("a \"text\" with\nnew line");
    description.set_creator("tester");
    return RunningJob(JobDescription(description), "ipc:///tmp/commands-" + id,
                      "ipc:///tmp/events-" + id, process, resources);
}

RunningJob jobOfThisProcess(const std::string& id, const std::vector<std::string>& endpoints) {
    return jobOf(os::ProcessIdentity::ofThisProcess(), id, endpointResource(endpoints));
}

RunningJob deadJob(const std::string& id, const std::vector<std::string>& endpoints) {
    return jobOf(formerProcess(), id, endpointResource(endpoints));
}

os::ProcessIdentity formerProcess() {
    auto process = os::ProcessIdentity::ofThisProcess();
    --process.startTime;
    return process;
}

std::string idOf(const RunningJob& job) {
    return job.getJobDescription().getJobId();
}

}  // namespace tarn::resource_manager::test
