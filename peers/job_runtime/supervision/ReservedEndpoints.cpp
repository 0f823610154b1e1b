#include "peers/job_runtime/supervision/ReservedEndpoints.h"

#include <stdexcept>

#include "platform/socket/SocketListener.h"
#include "platform/utils/Log.h"
#include "proto/api_job.pb.h"

namespace tarn::peers {

using tarn::socket::ClosePolicy;
using tarn::socket::Protocol;
using tarn::socket::SocketEndpoint;

/// Receives, and lets nothing in.
class ReservedEndpoints::Drain : public tarn::socket::utils::SocketListener {
  public:
    explicit Drain(const std::vector<std::string>& endpoints)
        : SocketListener(Protocol::Pull, "Reserved receiving endpoint") {
        std::string error;
        for (const auto& endpoint : endpoints) {
            SocketEndpoint::FromString(endpoint);
            addListenEndpoint(endpoint, error);
        }
        if (!start(error)) {
            throw std::runtime_error(error);
        }
    }
    ~Drain() override {
        std::string error;
        stop(error);
    }

    std::shared_ptr<google::protobuf::Message> getBaseMessage() override {
        return std::make_shared<tarn::proto::api_job::ApiToJobRequest>();
    }
    void handleMessage(std::shared_ptr<google::protobuf::Message>,
                       std::shared_ptr<tarn::socket::Socket>) override {}

  protected:
    bool admits(std::string_view) override {
        tarn::utils::logDebug("Dropped a message on a reserved endpoint");
        return false;
    }
};

ReservedEndpoints::ReservedEndpoints(const std::vector<std::string>& pullEndpoints,
                                     const std::vector<std::string>& publishEndpoints)
    : publish("Reserved publishing endpoint", ClosePolicy::Discard) {
    if (!pullEndpoints.empty()) {
        pull = std::make_unique<Drain>(pullEndpoints);
    }
    publish.setAudience(tarn::socket::Audience::Clients);
    publish.create(Protocol::Publish);
    for (const auto& endpoint : publishEndpoints) {
        publish.connect(SocketEndpoint::FromString(endpoint), 0);
    }
}

ReservedEndpoints::~ReservedEndpoints() = default;

}  // namespace tarn::peers
