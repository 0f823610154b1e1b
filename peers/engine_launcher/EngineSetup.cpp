#include "peers/engine_launcher/EngineSetup.h"

#include <google/protobuf/message.h>

#include <stdexcept>

#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/Secrets.h"
#include "platform/utils/UuidGenerator.h"
#include "proto/job_monitoring.pb.h"
#include "proto/service_engine.pb.h"

namespace tarn::peers {

using namespace tarn::proto::service_engine;
using tarn::socket::SocketEndpoint;

namespace {

void checkEndpoints(const ServiceToEngineRequestSetup& setup) {
    for (const auto* endpoint : {&setup.first_engine_endpoint(), &setup.second_engine_endpoint(),
                                 &setup.third_engine_endpoint(), &setup.fourth_engine_endpoint()}) {
        SocketEndpoint::FromString(*endpoint);
    }
    if (!setup.resources_endpoint().empty()) {
        SocketEndpoint::FromString(setup.resources_endpoint());
    }
}

tarn::resource_manager::JobDescription newDescription(const std::string& name) {
    tarn::proto::job_monitoring::JobDescription description;
    description.set_name(name);
    description.set_job_id(tarn::utils::UuidGenerator::Generate());
    return tarn::resource_manager::JobDescription(description);
}

}  // namespace

std::unique_ptr<google::protobuf::Message> EngineSetup::newRequest() const {
    return std::make_unique<ServiceToEngineRequest>();
}

JobSetup EngineSetup::read(const google::protobuf::Message& message) const {
    const auto& request = dynamic_cast<const ServiceToEngineRequest&>(message);
    if (request.type() != ServiceToEngineRequest::SETUP) {
        throw std::invalid_argument("Not an engine setup request");
    }
    if (!request.HasExtension(ServiceToEngineRequestSetup::base)) {
        throw std::invalid_argument("The engine setup request has no setup");
    }
    const auto& setup = request.GetExtension(ServiceToEngineRequestSetup::base);
    refuseLaterVersion(setup);
    checkEndpoints(setup);
    const auto description = newDescription(setup.engine_name());
    JobSetup result;
    result.label = setup.engine_name() + "_" + description.getJobId();
    result.job = tarn::resource_manager::RunningJob(
        description, setup.first_engine_endpoint(), setup.second_engine_endpoint(),
        tarn::os::ProcessIdentity::ofThisProcess(), toResources(setup.resources_to_reserve()),
        tarn::access::Owner(setup.owner()));
    result.pipeline = setup.engine_settings();
    result.environment["ENGINE_OPTION"] = std::to_string(setup.engine_option());
    result.pullEndpoints = {setup.third_engine_endpoint()};
    result.publishEndpoints = {setup.fourth_engine_endpoint()};
    result.resourcesEndpoint = setup.resources_endpoint();
    result.cell = std::make_shared<const tarn::service::proto::JobCell>(setup.cell());
    result.tcpAccess = toTcpAccess(setup.tcp_security());
    return result;
}

std::unique_ptr<google::protobuf::Message> EngineSetup::makeReply(
    const SetupVerdict& verdict) const {
    auto reply = std::make_unique<EngineToServiceReply>();
    reply->set_type(EngineToServiceReply::SETUP);
    reply->set_success(!verdict.refusal);
    if (verdict.refusal) {
        reply->set_error_message(utils::withoutSecrets(*verdict.refusal));
    }
    return reply;
}

}  // namespace tarn::peers
