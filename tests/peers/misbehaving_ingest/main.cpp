// An ingest service that misbehaves on purpose: what its supervision is tested with.
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>

#include "peers/device/Device.h"
#include "peers/device/DeviceServer.h"
#include "peers/device/PushChannel.h"
#include "peers/ingest_service/IngestDescription.h"
#include "platform/device_tree/DeviceNode.h"
#include "platform/os/StopSignals.h"
#include "platform/utils/Log.h"
#include "platform/utils/log/StreamLogSink.h"
#include "proto/monitoring.pb.h"
#include "tests/peers/misbehaving_ingest/IngestMisbehaviour.h"

namespace {

using namespace tarn::peers;
using namespace tarn::test;
using tarn::device_tree::DeviceNode;
using tarn::socket::SocketEndpoint;
using Clock = std::chrono::steady_clock;

std::unique_ptr<EventChannel> openEvents(const std::string& endpoint) {
    return endpoint.empty() ? nullptr
                            : std::make_unique<PushChannel>(SocketEndpoint::FromString(endpoint));
}

std::shared_ptr<DeviceNode> describe(const IngestMisbehaviour& wish) {
    std::vector<ingest_service::ChannelReport> reports;
    for (const auto& channel :
         ingest_service::parseChannels(wish.order.inputList, wish.order.frameOffsets)) {
        reports.push_back({.channel = channel, .signal = "test picture"});
    }
    const auto good = ingest_service::describeIngest(::getpid(), wish.order.format, reports);
    auto message = good->toProtoBuf();
    auto& properties = *message.mutable_properties();
    const auto pid = std::find_if(properties.begin(), properties.end(),
                                  [](const auto& property) { return property.name() == "PID"; });
    if (wish.pid == "none") {
        properties.erase(pid);
    } else if (wish.pid != "own") {
        pid->set_value(wish.pid);
    }
    return std::make_shared<DeviceNode>(message);
}

class MisbehavingIngest {
  public:
    explicit MisbehavingIngest(const IngestMisbehaviour& wish)
        : wish(wish),
          device(describe(wish), openEvents(wish.eventEndpoint)),
          server(SocketEndpoint::FromString(wish.endpoint),
                 [this](const Device::Request& request) { return answer(request); }) {}

    void run(const tarn::os::StopSignals& signals) {
        std::cout << "READY" << std::endl;
        while (wish.stop == StopCommand::Ignored ||
               !(device.isAskedToStop() || signals.isRaised())) {
            constexpr std::chrono::seconds longEnough{1};
            const int descriptor = wish.stop == StopCommand::Ignored ? -1 : signals.descriptor();
            server.serveOne(Clock::now() + longEnough, descriptor);
        }
        device.end();
    }

  private:
    std::optional<Device::Reply> answer(const Device::Request& request) {
        const bool describes = request.type() == Device::Request::GET_DESCRIPTION;
        auto reply = device.answer(request, Clock::now());
        if (wish.answers == Answers::None ||
            (describes && wish.descriptions == Descriptions::NotGiven)) {
            return std::nullopt;
        }
        if (wish.answers == Answers::WrongType) {
            reply.set_type(describes ? Device::Request::PING : Device::Request::GET_DESCRIPTION);
        }
        return reply;
    }

    const IngestMisbehaviour& wish;
    Device device;
    DeviceServer server;
};

void run(const IngestMisbehaviour& wish) {
    const tarn::os::StopSignals signals;
    pollfd interrupt{.fd = signals.descriptor(), .events = POLLIN, .revents = 0};
    ::poll(&interrupt, 1, static_cast<int>(wish.startAfter.count()));
    MisbehavingIngest(wish).run(signals);
}

}  // namespace

int main(int argc, char** argv) {
    int exitStatus = 0;
    const auto wish = parseIngestMisbehaviour(argc, argv, exitStatus);
    if (!wish) {
        return exitStatus;
    }
    if (wish->life == Life::EndsAtOnce) {
        return 1;
    }
    ::signal(SIGPIPE, SIG_IGN);
    tarn::utils::setLogSink(
        std::make_shared<tarn::utils::StreamLogSink>(stderr, tarn::utils::LogLevel::Info));
    try {
        run(*wish);
        return 0;
    } catch (const std::exception& e) {
        tarn::utils::logError(e.what());
        return 1;
    }
}
