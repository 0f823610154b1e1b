#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/BareSocket.h"
#include "benchmarks/support/DeviceProcess.h"
#include "benchmarks/support/ProcessFigures.h"
#include "proto/api_service.pb.h"

namespace tarn::benchmarks {

namespace {

using namespace std::chrono_literals;
using tarn::proto::api_service::ApiToServiceRequest;
using tarn::proto::api_service::ServiceToApiReply;
using tarn::proto::api_service::ServiceToApiReplyGetMonitoringInfo;

constexpr int devices = 200;
constexpr std::chrono::seconds watched{20};
constexpr std::chrono::seconds patience{60};

int devicesInTheTree() {
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::GET_MONITORING_INFO);
    BareSocket service(BareSocket::Kind::Request, "ipc:///tmp/requests");
    ServiceToApiReply reply;
    reply.ParseFromString(service.request(request.SerializeAsString()));
    return reply.GetExtension(ServiceToApiReplyGetMonitoringInfo::base)
        .device_tree()
        .sub_devices_size();
}

void awaitDevices(int count) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (devicesInTheTree() != count) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("the tree does not come to hold " + std::to_string(count) +
                                     " devices");
        }
        std::this_thread::sleep_for(100ms);
    }
}

void measure(const std::string& what, DeviceProcess::Kind kind) {
    const ProcessFigures service("TarnService");
    awaitDevices(0);
    const long without = service.residentKilobytes();
    const DeviceProcess process(devices, kind);
    awaitDevices(devices);
    const double before = service.processorSeconds();
    std::this_thread::sleep_for(watched);
    const double used = service.processorSeconds() - before;
    const nlohmann::ordered_json line = {
        {"benchmark", std::to_string(devices) + " devices of 10 nodes, " + what},
        {"seconds", watched.count()},
        {"threads", service.threads()},
        {"resident_without_kB", without},
        {"resident_kB", service.residentKilobytes()},
        {"processor_percent_of_one_core", 100 * used / static_cast<double>(watched.count())},
    };
    std::puts(line.dump().c_str());
    std::fflush(stdout);
}

}  // namespace

void measureDeviceFleet() {
    measure("that send their events", DeviceProcess::Kind::SendsEvents);
    measure("polled", DeviceProcess::Kind::Polled);
}

}  // namespace tarn::benchmarks
