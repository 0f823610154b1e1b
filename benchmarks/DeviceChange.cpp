#include <algorithm>
#include <stdexcept>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/BareRelay.h"
#include "benchmarks/support/DeviceEvents.h"
#include "benchmarks/support/DeviceProcess.h"
#include "benchmarks/support/MonitoredService.h"
#include "benchmarks/support/Samples.h"
#include "platform/device_tree/DeviceNode.h"

namespace tarn::benchmarks {

namespace {

using Clock = MonitoredService::Clock;

constexpr int partSize = 10;

/// Both ends of a relay.
class RelayEnds {
  public:
    explicit RelayEnds(const BareRelay& relay)
        : relay(relay),
          in(BareSocket::Kind::Push, relay.entry(), context),
          out(BareSocket::Kind::Subscribe, relay.exit(), context) {
        std::string bytes;
        do {  // until the subscription is there
            in.send(relay.message(1, 1));
        } while (!out.receive(bytes, std::chrono::milliseconds(100)));
        while (out.receive(bytes, std::chrono::milliseconds(100))) {
        }
    }

    void measure(std::size_t event, std::size_t batch, Samples& samples) {
        const auto message = relay.message(event, batch);
        std::string bytes;
        const auto begin = Clock::now();
        in.send(message);
        if (!out.receive(bytes) || bytes.size() != batch) {
            throw std::runtime_error("the relay has lost a message");
        }
        samples.add(Clock::now() - begin);
    }

  private:
    const BareRelay& relay;
    const BareSocket::Context context = BareSocket::makeContext();
    BareSocket in;
    BareSocket out;
};

struct Measured {
    Samples service;
    Samples twoSteps;
    Samples threeSteps;
    std::size_t event = 0;
    std::size_t batch = 0;
};

// In turns, so that whatever else the machine does meets all alike.
void measureRounds(MonitoredService& service, RelayEnds& two, RelayEnds& three,
                   const device_tree::DeviceNode& device, int rounds, Measured& measured) {
    for (int round = 0; round < rounds; ++round) {
        const auto event = changeEvent(device, round);
        Clock::time_point arrival;
        const auto begin = Clock::now();
        service.send(event);
        const auto batch = service.awaitBatch(device.getId(), arrival);
        measured.service.add(arrival - begin);
        measured.event = event.size();
        measured.batch = batch.size();
        three.measure(event.size(), batch.size(), measured.threeSteps);
        two.measure(event.size(), batch.size(), measured.twoSteps);
    }
}

void tell(const std::string& what, int nodes, const Measured& measured) {
    const auto name = what + " in a tree of " + std::to_string(nodes) + " nodes";
    const auto bytes =
        std::to_string(measured.event) + " and " + std::to_string(measured.batch) + " bytes";
    report(name, measured.service,
           "bare PUSH-PULL-PUB-SUB of " + std::to_string(measured.batch) + " bytes",
           measured.twoSteps);
    report(name, measured.service, "bare PUSH-PULL-PUSH-PULL-PUB-SUB of " + bytes,
           measured.threeSteps);
}

void compare(const std::string& what, MonitoredService& service, RelayEnds& two, RelayEnds& three,
             int nodes, int deviceSize) {
    service.fill(nodes, deviceSize);
    const auto device = sampleDevice(0, std::min(nodes, deviceSize));
    Measured warmUp;
    measureRounds(service, two, three, device, 20, warmUp);
    Measured measured;
    measureRounds(service, two, three, device, nodes > 1000 ? 200 : 500, measured);
    tell(what, nodes, measured);
}

}  // namespace

void measureDeviceChange() {
    const DeviceProcess device(1, DeviceProcess::Kind::SendsEvents);
    const BareRelay twoSteps(BareRelay::Steps::Two);
    const BareRelay threeSteps(BareRelay::Steps::Three);
    MonitoredService service;
    RelayEnds two(twoSteps);
    RelayEnds three(threeSteps);
    for (const int nodes : {10, 100, 1000, 10000}) {
        compare("change of a device of 10 nodes", service, two, three, nodes, partSize);
        compare("change of the one device", service, two, three, nodes, nodes);
    }
}

}  // namespace tarn::benchmarks
