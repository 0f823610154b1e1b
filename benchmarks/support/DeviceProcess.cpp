#include "benchmarks/support/DeviceProcess.h"

#include <unistd.h>
#include <zmq.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include "benchmarks/support/BareSocket.h"
#include "benchmarks/support/SampleNode.h"
#include "proto/monitoring.pb.h"

namespace tarn::benchmarks {

namespace {

using tarn::proto::monitoring::DeviceToTarnServiceReply;
using tarn::proto::monitoring::GetDescriptionReply;
using tarn::proto::monitoring::TarnServiceToDeviceRequest;
using Kind = DeviceProcess::Kind;

device_tree::DeviceNode deviceOf(int number) {
    auto device = sampleNode("device-" + std::to_string(number));
    for (int part = 1; part < 10; ++part) {
        std::string error;
        device.addSubDevice(std::make_shared<device_tree::DeviceNode>(
                                sampleNode(device.getId() + "." + std::to_string(part))),
                            /*replace=*/true, error);
    }
    return device;
}

std::string description(int number, Kind kind) {
    DeviceToTarnServiceReply reply;
    reply.set_type(TarnServiceToDeviceRequest::GET_DESCRIPTION);
    reply.set_success(true);
    auto& content = *reply.MutableExtension(GetDescriptionReply::base);
    deviceOf(number).toProtoBuf(*content.mutable_device());
    if (kind == Kind::SendsEvents) {
        content.set_event_endpoint(DeviceProcess::eventEndpointOf(number));
    }
    return reply.SerializeAsString();
}

std::string pong() {
    DeviceToTarnServiceReply reply;
    reply.set_type(TarnServiceToDeviceRequest::PING);
    reply.set_success(true);
    return reply.SerializeAsString();
}

class Endpoints {
  public:
    Endpoints(int count, Kind kind) {
        const auto context = BareSocket::makeContext();
        for (int number = 0; number < count; ++number) {
            sockets.push_back(std::make_unique<BareSocket>(
                BareSocket::Kind::Router, DeviceProcess::endpointOf(number), context));
            descriptions.push_back(description(number, kind));
            waiting.push_back(
                {.socket = sockets.back()->handle(), .fd = 0, .events = ZMQ_POLLIN, .revents = 0});
        }
    }

    void serve() {
        while (zmq_poll(waiting.data(), static_cast<int>(waiting.size()), -1) >= 0) {
            for (std::size_t i = 0; i < waiting.size(); ++i) {
                if (waiting[i].revents != 0) {
                    sockets[i]->answerOne(
                        [this, i](const std::string& request) { return answer(request, i); });
                }
            }
        }
    }

  private:
    const std::string& answer(const std::string& bytes, std::size_t number) const {
        TarnServiceToDeviceRequest request;
        request.ParseFromString(bytes);
        return request.type() == TarnServiceToDeviceRequest::PING ? ping : descriptions[number];
    }

    const std::string ping = pong();
    std::vector<std::unique_ptr<BareSocket>> sockets;
    std::vector<std::string> descriptions;
    std::vector<zmq_pollitem_t> waiting;
};

}  // namespace

DeviceProcess::DeviceProcess(int count, Kind kind)
    : count(count), process([count, kind] { Endpoints(count, kind).serve(); }) {}

DeviceProcess::~DeviceProcess() {
    for (int number = 0; number < count; ++number) {
        ::unlink(endpointOf(number).substr(6).c_str());
    }
}

std::string DeviceProcess::endpointOf(int device) {
    return "ipc:///tmp/benchmark-device-" + std::to_string(device);
}

std::string DeviceProcess::eventEndpointOf(int device) {
    return endpointOf(device) + "-events";
}

}  // namespace tarn::benchmarks
