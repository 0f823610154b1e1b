#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/BareRelay.h"
#include "benchmarks/support/DeviceEvents.h"
#include "benchmarks/support/DeviceProcess.h"
#include "benchmarks/support/MonitoredService.h"
#include "benchmarks/support/ProcessFigures.h"
#include "benchmarks/support/SampleNode.h"
#include "benchmarks/support/Samples.h"
#include "platform/device_tree/DeviceNode.h"

namespace tarn::benchmarks {

namespace {

using Clock = MonitoredService::Clock;

constexpr int subscribers = 100;
constexpr int nodes = 1000;
constexpr int deviceSize = 10;
constexpr int rounds = 100;

/// Many subscribers to one address, in this process.
class Audience {
  public:
    explicit Audience(const std::string& address) {
        for (int i = 0; i < subscribers; ++i) {
            members.push_back(
                std::make_unique<BareSocket>(BareSocket::Kind::Subscribe, address, context));
        }
    }

    /// Waits until each has got a message of about this size, which numbers make a little longer
    /// in time; all others are small. Returns when the last one had.
    Clock::time_point await(std::size_t size) {
        std::string bytes;
        for (const auto& member : members) {
            do {
                if (!member->receive(bytes)) {
                    throw std::runtime_error("a subscriber got nothing");
                }
            } while (bytes.size() < size / 2);
        }
        return Clock::now();
    }

    /// Whether each has got something within the time; takes what there is.
    bool drain(std::chrono::milliseconds within) {
        std::string bytes;
        bool all = true;
        for (const auto& member : members) {
            bool any = false;
            while (member->receive(bytes, any ? std::chrono::milliseconds(0) : within)) {
                any = true;
            }
            all = all && any;
        }
        return all;
    }

  private:
    const BareSocket::Context context = BareSocket::makeContext();
    std::vector<std::unique_ptr<BareSocket>> members;
};

struct Measured {
    Samples delay;
    double processorSeconds = 0;
};

class Relayed {
  public:
    explicit Relayed(const BareRelay& relay)
        : relay(relay),
          publisher(relay.publisher()),
          in(BareSocket::Kind::Push, relay.entry()),
          audience(relay.exit()) {
        do {
            in.send(relay.message(1, 1));
        } while (!audience.drain(std::chrono::milliseconds(100)));
        audience.drain(std::chrono::milliseconds(10));
    }

    void measure(std::size_t event, std::size_t batch, Measured& measured) {
        const auto message = relay.message(event, batch);
        const double before = publisher.processorSeconds();
        const auto begin = Clock::now();
        in.send(message);
        measured.delay.add(audience.await(batch) - begin);
        measured.processorSeconds += publisher.processorSeconds() - before;
    }

  private:
    const BareRelay& relay;
    const ProcessFigures publisher;
    BareSocket in;
    Audience audience;
};

class Published {
  public:
    explicit Published(MonitoredService& service)
        : service(service), gateway("tarnGateway"), audience(MonitoredService::published) {
        audience.drain(std::chrono::seconds(2));  // the first tree
    }

    std::size_t sizeOfBatch(const std::string& event) {
        Clock::time_point ignored;
        service.send(event);
        const auto size = service.awaitBatch(idOf(0), ignored).size();
        audience.await(size);
        return size;
    }

    void measure(const std::string& event, std::size_t batch, Measured& measured) {
        const double before = gateway.processorSeconds();
        const auto begin = Clock::now();
        service.send(event);
        measured.delay.add(audience.await(batch) - begin);
        measured.processorSeconds += gateway.processorSeconds() - before;
        Clock::time_point ignored;
        service.awaitBatch(idOf(0), ignored);
    }

  private:
    MonitoredService& service;
    const ProcessFigures gateway;
    Audience audience;
};

void tellProcessorUse(const Measured& gateway, const Measured& relay) {
    const auto perBatch = [](const Measured& measured) {
        return 1e6 * measured.processorSeconds / static_cast<double>(measured.delay.count());
    };
    const nlohmann::ordered_json line = {
        {"benchmark", "processor use of the gateway a batch"},
        {"subscribers", subscribers},
        {"gateway_us", perBatch(gateway)},
        {"bare_publisher_us", perBatch(relay)},
        {"ratio", perBatch(gateway) / perBatch(relay)},
    };
    std::puts(line.dump().c_str());
}

}  // namespace

void measureGatewayFanOut() {
    const DeviceProcess device(1, DeviceProcess::Kind::SendsEvents);
    const BareRelay threeSteps(BareRelay::Steps::Three);
    MonitoredService service;
    service.fill(nodes, deviceSize);
    Published published(service);
    Relayed relayed(threeSteps);
    const auto batch = published.sizeOfBatch(changeEvent(sampleDevice(0, deviceSize), 0));
    Measured gateway;
    Measured relay;
    for (int round = 0; round < rounds; ++round) {
        const auto event = changeEvent(sampleDevice(0, deviceSize), round);
        published.measure(event, batch, gateway);
        relayed.measure(event.size(), batch, relay);
    }
    report("change to the last of " + std::to_string(subscribers) + " subscribers, " +
               std::to_string(nodes) + " nodes",
           gateway.delay, "bare PUSH-PULL-PUSH-PULL-PUB-SUB of " + std::to_string(batch) + " bytes",
           relay.delay);
    tellProcessorUse(gateway, relay);
}

}  // namespace tarn::benchmarks
