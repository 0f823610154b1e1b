#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/BareSocket.h"
#include "benchmarks/support/Samples.h"
#include "platform/access/Gatekeeper.h"
#include "platform/access/LevelGroups.h"
#include "platform/os/GroupFile.h"
#include "platform/socket/RequestThread.h"
#include "platform/utils/UuidGenerator.h"
#include "proto/api_service.pb.h"

namespace tarn::benchmarks {

namespace {

using tarn::proto::api_service::ApiToServiceRequest;
using tarn::proto::api_service::ServiceToApiReply;
using tarn::proto::api_service::ServiceToApiReplyInfo;

constexpr int turns = 60;
constexpr int callsInATurn = 100;
constexpr std::uint32_t largestInfoRequest = 10U << 20;

ServiceToApiReply info() {
    ServiceToApiReply reply;
    reply.set_type(ServiceToApiReply::INFO);
    reply.set_success(true);
    reply.MutableExtension(ServiceToApiReplyInfo::base)->set_service_name("TarnService");
    return reply;
}

/// Answers GET_INFO on an endpoint of its own.
class InfoServer {
  public:
    enum class Asks { Nobody, TheKernel };

    explicit InfoServer(Asks asks)
        : thread(socket::makeAnsweringSocket("info", socket::SocketEndpoint::FromString(address)),
                 asks == Asks::TheKernel ? checked() : unchecked(),
                 {.notServed = "not served: ", .notWaited = "not waited: "}) {}

    const std::string address = "ipc:///tmp/" + utils::UuidGenerator::Generate();

  private:
    static socket::RequestServer::Serve unchecked() {
        return socket::answering<ApiToServiceRequest>(
            largestInfoRequest, [](const ApiToServiceRequest&) { return info(); });
    }

    // The groups are looked at too, as for one who is not trusted without.
    static socket::RequestServer::Serve checked() {
        const auto gatekeeper = std::make_shared<access::Gatekeeper>("");
        const auto groups = std::make_shared<access::LevelGroups>(os::groupFile);
        return socket::answering<ApiToServiceRequest>(
            largestInfoRequest,
            [gatekeeper, groups](const ApiToServiceRequest&, const socket::Peer& sender) {
                groups->levelOf(*sender.user);
                gatekeeper->refusal(access::Level::Read, sender, "GET_INFO");
                return info();
            });
    }

    socket::RequestThread thread;  // last: it uses the address
};

}  // namespace

// In turns, so that whatever else the machine does meets both alike.
void measureAccessCheck() {
    ApiToServiceRequest getInfo;
    getInfo.set_type(ApiToServiceRequest::GET_INFO);
    const auto request = getInfo.SerializeAsString();
    const InfoServer checking(InfoServer::Asks::TheKernel);
    const InfoServer trusting(InfoServer::Asks::Nobody);
    BareSocket checked(BareSocket::Kind::Request, checking.address);
    BareSocket unchecked(BareSocket::Kind::Request, trusting.address);
    Samples with;
    Samples without;
    for (int i = 0; i < turns; ++i) {
        timeCalls(checked, request, callsInATurn, with);
        timeCalls(unchecked, request, callsInATurn, without);
    }
    report("GET_INFO with a look at who asks", with, "the same without", without);
}

}  // namespace tarn::benchmarks
