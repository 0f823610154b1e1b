#include "tests/peers/workflow_launcher/WorkflowFixture.h"

#include "platform/utils/UuidGenerator.h"

namespace tarn::test {

using namespace tarn::proto::service_job;

TestJob::TestJob(const TestService& service, std::string jobName, const std::string& pipeline)
    : events(service.endpointText(jobName + "-event")), service(service), name(std::move(jobName)) {
    request.set_type(ServiceToJobRequest::SETUP);
    setup().mutable_job_description()->set_name(name);
    setup().mutable_job_description()->set_job_id(tarn::utils::UuidGenerator::Generate());
    setup().set_job_configuration(pipeline);
    setup().set_first_job_endpoint(endpoint("command"));
    setup().set_second_job_endpoint(endpoint("event"));
    setup().set_resources_endpoint(service.resourcesEndpoint());
    auto* const resource = setup().add_resources_to_reserve();
    resource->set_name("Endpoint");
    resource->add_values(endpoint("command"));
    resource->add_values(endpoint("event"));
}

void TestJob::launch(const std::vector<std::string>& options) {
    std::vector<std::string> command = {builtProgram("tarnWorkflowLauncher"),
                                        "-l",
                                        name,
                                        "-e",
                                        endpoint("setup"),
                                        "--log-folder",
                                        logFolder()};
    command.insert(command.end(), options.begin(), options.end());
    launcher = std::make_unique<Process>(command);
}

JobToServiceReply TestJob::setUp() const {
    return tarn::test::setUp(endpoint("setup"), request);
}

void TestJob::play(const std::vector<std::string>& options) {
    launch(options);
    const auto reply = setUp();
    ASSERT_EQ(reply.type(), JobToServiceReply::SETUP);
    ASSERT_TRUE(reply.success()) << reply.error_message();
}

ServiceToJobRequestSetup& TestJob::setup() {
    return *request.MutableExtension(ServiceToJobRequestSetup::base);
}

std::string TestJob::endpoint(const std::string& kind) const {
    return service.endpointText(name + "-" + kind);
}

std::string TestJob::setupPath() const {
    return service.pathOf(name + "-setup");
}

std::string TestJob::logFolder() const {
    return service.pathOf("log");
}

std::string TestJob::log() const {
    return readFile(logFolder() + "/" + name + ".log");
}

std::unique_ptr<TestJob> WorkflowFixture::makeJob(const std::string& pipeline,
                                                  const std::string& name) {
    return std::make_unique<TestJob>(service, name, pipeline);
}

}  // namespace tarn::test
