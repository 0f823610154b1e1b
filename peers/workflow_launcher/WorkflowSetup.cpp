#include "peers/workflow_launcher/WorkflowSetup.h"

#include <google/protobuf/message.h>

#include <stdexcept>

#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/Secrets.h"
#include "proto/service_job.pb.h"

namespace tarn::peers {

using namespace tarn::proto::service_job;
using tarn::socket::SocketEndpoint;

namespace {

const std::string& fileOf(const ServiceToJobRequestSetup& setup) {
    return setup.restored_from_file().empty() ? setup.persistent_file_path()
                                              : setup.restored_from_file();
}

// What the job is started from again: it names the file that it is in.
std::string contentOf(ServiceToJobRequest request) {
    auto& setup = *request.MutableExtension(ServiceToJobRequestSetup::base);
    if (const auto file = fileOf(setup); !file.empty()) {
        setup.set_persistent_file_path(file);
    }
    setup.clear_restored_from_file();
    setup.clear_cell();
    setup.clear_tcp_security();
    return request.SerializePartialAsString();
}

}  // namespace

std::unique_ptr<google::protobuf::Message> WorkflowSetup::newRequest() const {
    return std::make_unique<ServiceToJobRequest>();
}

JobSetup WorkflowSetup::read(const google::protobuf::Message& message) const {
    const auto& request = dynamic_cast<const ServiceToJobRequest&>(message);
    if (request.type() != ServiceToJobRequest::SETUP) {
        throw std::invalid_argument("Not a job setup request");
    }
    if (!request.HasExtension(ServiceToJobRequestSetup::base)) {
        throw std::invalid_argument("The job setup request has no setup");
    }
    const auto& setup = request.GetExtension(ServiceToJobRequestSetup::base);
    refuseLaterVersion(setup);
    if (setup.job_description().job_id().empty()) {
        throw std::invalid_argument("The job has no id");
    }
    for (const auto* endpoint :
         {&setup.first_job_endpoint(), &setup.second_job_endpoint(), &setup.resources_endpoint()}) {
        SocketEndpoint::FromString(*endpoint);
    }
    JobSetup result;
    result.label = setup.persistent_job_name().empty() ? setup.job_description().job_id()
                                                       : setup.persistent_job_name();
    result.job = tarn::resource_manager::RunningJob(
        tarn::resource_manager::JobDescription(setup.job_description()), setup.first_job_endpoint(),
        setup.second_job_endpoint(), tarn::os::ProcessIdentity::ofThisProcess(),
        toResources(setup.resources_to_reserve()), tarn::access::Owner(setup.owner()));
    result.pipeline = setup.job_configuration();
    result.resourcesEndpoint = setup.resources_endpoint();
    result.persistentFile = fileOf(setup);
    result.persistentContent = contentOf(request);
    result.comesBack = !setup.restored_from_file().empty();
    result.cell = std::make_shared<const tarn::service::proto::JobCell>(setup.cell());
    result.tcpAccess = toTcpAccess(setup.tcp_security());
    return result;
}

std::unique_ptr<google::protobuf::Message> WorkflowSetup::makeReply(
    const SetupVerdict& verdict) const {
    auto reply = std::make_unique<JobToServiceReply>();
    reply->set_type(JobToServiceReply::SETUP);
    reply->set_success(!verdict.refusal);
    if (verdict.refusal) {
        reply->set_error_message(utils::withoutSecrets(*verdict.refusal));
    }
    if (!verdict.warning.empty()) {
        reply->set_warning(verdict.warning);
    }
    return reply;
}

}  // namespace tarn::peers
