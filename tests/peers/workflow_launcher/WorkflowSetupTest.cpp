#include "peers/workflow_launcher/WorkflowSetup.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "proto/service_job.pb.h"

namespace tarn::peers {
namespace {

using namespace tarn::proto::service_job;

struct WorkflowSetupTest : testing::Test {
    WorkflowSetupTest() {
        request.set_type(ServiceToJobRequest::SETUP);
        setup().mutable_job_description()->set_job_id("the-id");
        setup().set_job_configuration("fakesrc ! fakesink");
        setup().set_first_job_endpoint("tcp://*:5000");
        setup().set_second_job_endpoint("tcp://*:5001");
        setup().set_resources_endpoint("ipc:///tmp/resource");
        for (const auto* value : {"a", "b"}) {
            auto* const resource = setup().add_resources_to_reserve();
            resource->set_name("name");
            resource->add_values(value);
        }
    }
    ServiceToJobRequestSetup& setup() {
        return *request.MutableExtension(ServiceToJobRequestSetup::base);
    }

    ServiceToJobRequest request;
    const WorkflowSetup protocol;
};

TEST_F(WorkflowSetupTest, TakesAllOfASetup) {
    setup().set_persistent_file_path("/var/jobs/x");
    const auto read = protocol.read(request);
    EXPECT_EQ(read.label, "the-id");
    EXPECT_EQ(read.pipeline, "fakesrc ! fakesink");
    EXPECT_EQ(read.job.getCommandEndpoint(), "tcp://*:5000");
    EXPECT_EQ(read.job.getEventEndpoint(), "tcp://*:5001");
    EXPECT_EQ(read.job.getResources().at("name"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(read.persistentFile, "/var/jobs/x");
    EXPECT_EQ(read.persistentContent, request.SerializeAsString());
    EXPECT_FALSE(read.comesBack);
}

TEST_F(WorkflowSetupTest, TakesTheVersionsUpToItsOwn) {
    EXPECT_EQ(setup().version(), 1U);  // of a service that knew none
    EXPECT_NO_THROW(protocol.read(request));
    setup().set_version(ServiceToJobRequestSetup::CURRENT);
    EXPECT_NO_THROW(protocol.read(request));
    setup().set_version(ServiceToJobRequestSetup::CURRENT + 1);
    EXPECT_THROW(protocol.read(request), std::invalid_argument);
}

TEST_F(WorkflowSetupTest, AFileThatTheJobComesFromIsItsFileWhateverItNames) {
    setup().set_persistent_file_path("/etc/victim");
    setup().set_restored_from_file("/var/jobs/x");
    const auto read = protocol.read(request);
    EXPECT_EQ(read.persistentFile, "/var/jobs/x");
    EXPECT_TRUE(read.comesBack);
    ServiceToJobRequest kept;
    ASSERT_TRUE(kept.ParseFromString(read.persistentContent));
    const auto& content = kept.GetExtension(ServiceToJobRequestSetup::base);
    EXPECT_EQ(content.persistent_file_path(), "/var/jobs/x");
    EXPECT_FALSE(content.has_restored_from_file());
    EXPECT_EQ(content.job_configuration(), "fakesrc ! fakesink");
}

// They may lie elsewhere when the job comes back.
TEST_F(WorkflowSetupTest, TheServicesKeysAreTakenAndNotStored) {
    setup().mutable_tcp_security()->set_required(true);
    setup().mutable_tcp_security()->set_key_file("/etc/tarn/server.key");
    setup().mutable_tcp_security()->set_client_keys("/etc/tarn/client-keys");
    const auto read = protocol.read(request);
    EXPECT_TRUE(read.tcpAccess.required);
    EXPECT_EQ(read.tcpAccess.keyFile, "/etc/tarn/server.key");
    EXPECT_EQ(read.tcpAccess.clientKeys, "/etc/tarn/client-keys");
    ServiceToJobRequest kept;
    ASSERT_TRUE(kept.ParseFromString(read.persistentContent));
    EXPECT_FALSE(kept.GetExtension(ServiceToJobRequestSetup::base).has_tcp_security());
}

TEST_F(WorkflowSetupTest, APersistentNameIsTheLabel) {
    setup().set_persistent_job_name("keep");
    EXPECT_EQ(protocol.read(request).label, "keep");
}

TEST_F(WorkflowSetupTest, RefusesWhatIsNoSetup) {
    request.set_type(ServiceToJobRequest::UNKNOWN);
    EXPECT_THROW(protocol.read(request), std::invalid_argument);
    request.clear_type();
    EXPECT_THROW(protocol.read(request), std::invalid_argument);
    request.set_type(ServiceToJobRequest::SETUP);
    request.ClearExtension(ServiceToJobRequestSetup::base);
    EXPECT_THROW(protocol.read(request), std::invalid_argument);
}

TEST_F(WorkflowSetupTest, RefusesAJobWithoutAnId) {
    setup().mutable_job_description()->clear_job_id();
    EXPECT_THROW(protocol.read(request), std::invalid_argument);
}

TEST_F(WorkflowSetupTest, RefusesBadEndpoints) {
    setup().set_first_job_endpoint("nonsense");
    EXPECT_THROW(protocol.read(request), std::invalid_argument);
    setup().set_first_job_endpoint("tcp://*:5000");
    setup().set_second_job_endpoint("tcp://*:0");
    EXPECT_THROW(protocol.read(request), std::invalid_argument);
    setup().set_second_job_endpoint("tcp://*:5001");
    setup().clear_resources_endpoint();
    EXPECT_THROW(protocol.read(request), std::invalid_argument);
}

TEST_F(WorkflowSetupTest, TheAnswerCarriesTheRefusal) {
    const auto reply = protocol.makeReply({.refusal = "why", .warning = {}});
    const auto& refusal = dynamic_cast<const JobToServiceReply&>(*reply);
    EXPECT_EQ(refusal.type(), JobToServiceReply::SETUP);
    EXPECT_FALSE(refusal.success());
    EXPECT_EQ(refusal.error_message(), "why");
    EXPECT_FALSE(refusal.has_warning());
    const auto good = protocol.makeReply({});
    EXPECT_TRUE(dynamic_cast<const JobToServiceReply&>(*good).success());
    EXPECT_FALSE(dynamic_cast<const JobToServiceReply&>(*good).has_warning());
}

TEST_F(WorkflowSetupTest, TheAnswerSaysWhatAnAcceptedJobLacks) {
    const auto reply = protocol.makeReply({.refusal = {}, .warning = "not persistent"});
    const auto& accepted = dynamic_cast<const JobToServiceReply&>(*reply);
    EXPECT_TRUE(accepted.success());
    EXPECT_EQ(accepted.warning(), "not persistent");
}

}  // namespace
}  // namespace tarn::peers
