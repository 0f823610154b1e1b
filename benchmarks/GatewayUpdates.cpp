#include <sys/resource.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/BareSocket.h"
#include "benchmarks/support/DeviceEvents.h"
#include "benchmarks/support/DeviceProcess.h"
#include "benchmarks/support/MonitoredService.h"
#include "benchmarks/support/ProcessFigures.h"
#include "benchmarks/support/SampleNode.h"
#include "platform/device_tree/DeviceNode.h"
#include "platform/tree_updates/UpdateTopic.h"

namespace tarn::benchmarks {

using namespace std::chrono_literals;

namespace {

using Clock = MonitoredService::Clock;

constexpr int manyNodes = 10000;
constexpr int nodesOfADevice = 10;
constexpr int changesASecond = 100;
constexpr int followers = 1000;
constexpr int wholeTreeReaders = 10;
constexpr auto measuredFor = 10s;
constexpr double leastBytesOfAChange = 30;
constexpr auto betweenReads = 100ms;

/// Subscribers that read all they get, and count it.
class Readers {
  public:
    Readers(int count, const std::string& topic) {
        // A context of the library has 1023 sockets at most.
        const std::array contexts{BareSocket::makeContext(), BareSocket::makeContext()};
        for (int i = 0; i < count; ++i) {
            members.push_back(std::make_unique<BareSocket>(
                BareSocket::Kind::Subscribe, MonitoredService::published,
                contexts.at(static_cast<std::size_t>(i) % contexts.size()), topic));
        }
    }

    /// Reads what there is.
    void read() {
        std::string message;
        for (const auto& member : members) {
            while (member->receive(message, 0ms)) {
                ++messages;
                bytes += message.size();
            }
        }
    }

    /// Until each has got its first message.
    void awaitAll() {
        std::string message;
        for (const auto& member : members) {
            if (!member->receive(message, 30s)) {
                throw std::runtime_error("a subscriber was not let in");
            }
        }
    }

    double messagesOfEach() const { return of(messages); }
    double bytesOfEach() const { return of(bytes); }

  private:
    double of(std::size_t sum) const {
        return static_cast<double>(sum) / static_cast<double>(members.size());
    }

    std::vector<std::unique_ptr<BareSocket>> members;
    std::size_t messages = 0;
    std::size_t bytes = 0;
};

struct Load {
    double bytesASecond = 0;     // of each reader
    double messagesASecond = 0;  // likewise
    double percentOfACore = 0;
    long residentKilobytes = 0;
};

void allowManyDescriptors() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

int numberOfChange = 0;  // what is told again as it was is no change

// A batch a second has all of them.
std::string statusChange() {
    ++numberOfChange;
    return loadEvent({idOf(numberOfChange * 97 % manyNodes)}, numberOfChange);
}

// Each makes a batch of its own, with an event.
std::string deviceChange() {
    ++numberOfChange;
    const int device = numberOfChange * 97 % (manyNodes / nodesOfADevice) * nodesOfADevice;
    return changeEvent(sampleDevice(device, nodesOfADevice), numberOfChange);
}

// One change after the other, as many a second.
Load measure(MonitoredService& service, int count, const std::string& topic,
             std::string (*nextChange)()) {
    const ProcessFigures gateway("tarnGateway");
    Readers readers(count, topic);
    readers.awaitAll();
    readers.read();
    const auto messagesBefore = readers.messagesOfEach();
    const auto bytesBefore = readers.bytesOfEach();
    const double processorBefore = gateway.processorSeconds();
    const auto begin = Clock::now();
    auto nextRead = begin;
    for (int change = 0; Clock::now() < begin + measuredFor; ++change) {
        service.send(nextChange());
        service.passOver();
        if (Clock::now() >= nextRead) {
            readers.read();
            nextRead = Clock::now() + betweenReads;
        }
        std::this_thread::sleep_until(begin + change * 1000ms / changesASecond);
    }
    const std::chrono::duration<double> took = Clock::now() - begin;
    const double processor = gateway.processorSeconds() - processorBefore;
    readers.read();
    if (readers.messagesOfEach() - messagesBefore < took.count() / 2 ||
        readers.bytesOfEach() - bytesBefore <
            leastBytesOfAChange * changesASecond * took.count() / 2) {
        throw std::runtime_error("the subscribers were told too little");
    }
    return {.bytesASecond = (readers.bytesOfEach() - bytesBefore) / took.count(),
            .messagesASecond = (readers.messagesOfEach() - messagesBefore) / took.count(),
            .percentOfACore = 100 * processor / took.count(),
            .residentKilobytes = gateway.residentKilobytes()};
}

void report(const char* benchmark, const Load& updates, const Load& whole) {
    const nlohmann::ordered_json line = {
        {"benchmark", benchmark},
        {"nodes", manyNodes},
        {"changes_a_second", changesASecond},
        {"updates_a_second", updates.messagesASecond},
        {"followers", followers},
        {"bytes_a_second_each", updates.bytesASecond},
        {"gateway_percent_of_one_core", updates.percentOfACore},
        {"gateway_resident_kB", updates.residentKilobytes},
        {"whole_tree_readers", wholeTreeReaders},
        {"whole_tree_bytes_a_second_each", whole.bytesASecond},
        {"whole_tree_gateway_percent_of_one_core", whole.percentOfACore},
        {"ratio_of_bytes", updates.bytesASecond / whole.bytesASecond},
    };
    std::puts(line.dump().c_str());
}

}  // namespace

void measureGatewayUpdates() {
    allowManyDescriptors();
    const DeviceProcess device(1, DeviceProcess::Kind::SendsEvents);
    MonitoredService service;
    service.fill(manyNodes, nodesOfADevice);
    const auto& topic = tree_updates::updateTopic();
    const auto whole = measure(service, wholeTreeReaders, "", statusChange);
    report("differences to those who follow, statuses",
           measure(service, followers, topic, statusChange), whole);
    report("differences to those who follow, devices",
           measure(service, followers, topic, deviceChange), whole);
}

}  // namespace tarn::benchmarks
