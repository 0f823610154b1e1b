#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/BareSocket.h"
#include "benchmarks/support/DeviceEvents.h"
#include "benchmarks/support/DeviceProcess.h"
#include "benchmarks/support/EchoProcess.h"
#include "benchmarks/support/MonitoredService.h"
#include "benchmarks/support/SampleNode.h"
#include "benchmarks/support/Samples.h"
#include "platform/device_tree/DeviceNode.h"
#include "proto/api_service.pb.h"

namespace tarn::benchmarks {

namespace {

using tarn::proto::api_service::ApiToServiceRequest;
using Clock = MonitoredService::Clock;

constexpr int nodes = 10000;
constexpr int rounds = 200;

std::string question() {
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::GET_MONITORING_INFO);
    return request.SerializeAsString();
}

void askOnce(BareSocket& socket, const std::string& request, Samples& samples) {
    const auto begin = Clock::now();
    socket.ask(request);
    samples.add(Clock::now() - begin);
}

/// A status of one node, and a small device that comes: its batch goes out at once.
void changeOnce(MonitoredService& service, int round, Samples& samples) {
    const auto change = loadEvent({idOf(round % nodes)}, round + 1);
    const auto marker = addEvent(sampleNode("marker"));
    Clock::time_point arrival;
    const auto begin = Clock::now();
    service.send(change);
    service.send(marker);
    service.awaitBatch("marker", arrival);
    samples.add(arrival - begin);
}

void compare(const std::string& what, MonitoredService& service, const EchoProcess& echo,
             int deviceSize) {
    service.fill(nodes, deviceSize);
    BareSocket api(BareSocket::Kind::Request, "ipc:///tmp/requests");
    BareSocket bare(BareSocket::Kind::Request, echo.address());
    Samples unchanged;
    Samples changed;
    Samples change;
    Samples echoed;
    for (int round = 0; round < rounds; ++round) {
        changeOnce(service, round, change);
        askOnce(api, question(), changed);
        askOnce(api, question(), unchanged);
        askOnce(bare, question(), echoed);
    }
    const std::string reference = "bare echo of about as many bytes";
    report("GET_MONITORING_INFO after a change, " + what, changed, reference, echoed);
    report("GET_MONITORING_INFO, " + what, unchanged, reference, echoed);
    report("a status and a device that comes, to a subscriber, " + what, change, reference, echoed);
}

}  // namespace

void measureMonitoringInfo() {
    const DeviceProcess device(1, DeviceProcess::Kind::SendsEvents);
    const EchoProcess echo(std::size_t{170} * nodes);
    MonitoredService service;
    compare("10000 nodes in devices of 10", service, echo, 10);
    compare("10000 nodes in one device", service, echo, nodes);
}

}  // namespace tarn::benchmarks
