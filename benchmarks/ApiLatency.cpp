#include <list>
#include <stdexcept>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/BareSocket.h"
#include "benchmarks/support/EchoProcess.h"
#include "benchmarks/support/Samples.h"
#include "platform/resource_manager/ResourceManagerProxy.h"
#include "proto/api_service.pb.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::benchmarks {

namespace {

using tarn::proto::api_service::ApiToServiceRequest;

constexpr auto serviceAddress = "ipc:///tmp/requests";
constexpr int rounds = 40;
constexpr int callsPerRound = 100;

std::string requestBytes(ApiToServiceRequest::ApiToServiceRequestType type) {
    ApiToServiceRequest request;
    request.set_type(type);
    return request.SerializeAsString();
}

// In turns, so that whatever else the machine does meets both alike.
void compare(const std::string& name, ApiToServiceRequest::ApiToServiceRequestType type) {
    const auto request = requestBytes(type);
    std::size_t replySize = 0;
    {
        BareSocket probe(BareSocket::Kind::Request, serviceAddress);
        replySize = probe.ask(request);
    }
    const EchoProcess echo(replySize);
    BareSocket service(BareSocket::Kind::Request, serviceAddress);
    BareSocket bare(BareSocket::Kind::Request, echo.address());
    Samples warmUp;
    timeCalls(service, request, callsPerRound, warmUp);
    timeCalls(bare, request, callsPerRound, warmUp);

    Samples served;
    Samples echoed;
    for (int i = 0; i < rounds; ++i) {
        timeCalls(service, request, callsPerRound, served);
        timeCalls(bare, request, callsPerRound, echoed);
    }
    report(name, served, "bare echo of " + std::to_string(replySize) + " bytes", echoed);
}

/// Jobs of this process in the service's registry, for as long as it lives.
class RegisteredJobs {
  public:
    explicit RegisteredJobs(int count) {
        std::string error;
        if (!proxy.connect(socket::SocketEndpoint::FromString("ipc:///tmp/resource"), error)) {
            throw std::runtime_error(error);
        }
        for (int i = 0; i < count; ++i) {
            add("bench-" + std::to_string(i));
        }
    }

    ~RegisteredJobs() {
        std::string ignored;
        for (const auto& id : ids) {
            proxy.unregisterJob(id, ignored);
        }
    }

  private:
    void add(const std::string& id) {
        tarn::proto::job_monitoring::JobDescription description;
        description.set_name("Camera " + id);
        description.set_job_id(id);
        const auto endpoint = "ipc:///tmp/" + id;
        std::string error;
        if (!proxy.registerJob({resource_manager::JobDescription(description),
                                endpoint,
                                endpoint + "-events",
                                os::ProcessIdentity::ofThisProcess(),
                                {{"Endpoint", {endpoint, endpoint + "-events"}}}},
                               error)) {
            throw std::runtime_error(error);
        }
        ids.push_back(id);
    }

    resource_manager::ResourceManagerProxy proxy;
    std::list<std::string> ids;
};

}  // namespace

void measureApiLatency() {
    compare("GET_INFO", ApiToServiceRequest::GET_INFO);
    const RegisteredJobs jobs(100);
    compare("GET_JOBS with 100 jobs", ApiToServiceRequest::GET_JOBS);
}

}  // namespace tarn::benchmarks
