#include <algorithm>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/DeviceEvents.h"
#include "benchmarks/support/DeviceProcess.h"
#include "benchmarks/support/MonitoredService.h"
#include "benchmarks/support/SampleNode.h"
#include "benchmarks/support/Samples.h"

namespace tarn::benchmarks {

namespace {

using Clock = MonitoredService::Clock;

constexpr int changes = 200000;
constexpr int rounds = 5;
constexpr int deviceSize = 10;

/// Events of `perEvent` changes each, over all nodes in turn, every change with another value.
std::vector<std::string> makeEvents(const std::vector<std::string>& nodes, int perEvent) {
    std::vector<std::string> events;
    std::size_t at = 0;
    for (int made = 0; made < changes; made += perEvent) {
        std::vector<std::string> ids;
        for (int i = 0; i < perEvent; ++i) {
            ids.push_back(nodes[at]);
            at = (at + 1) % nodes.size();
        }
        events.push_back(loadEvent(ids, made + 1));
    }
    return events;
}

// The marker comes after all of them, and its batch goes out at once.
double changesPerSecond(MonitoredService& service, const std::vector<std::string>& events) {
    const auto marker = addEvent(sampleNode("marker"));
    Clock::time_point arrival;
    const auto begin = Clock::now();
    for (const auto& event : events) {
        service.send(event);
    }
    service.send(marker);
    service.awaitBatch("marker", arrival);
    return changes / std::chrono::duration<double>(arrival - begin).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void tell(int perEvent, int nodes, const std::vector<double>& rates) {
    const nlohmann::ordered_json line = {
        {"benchmark", "status changes, " + std::to_string(perEvent) + " an event, in a tree of " +
                          std::to_string(nodes) + " nodes"},
        {"rounds", rates.size()},
        {"changes_a_second_median", median(rates)},
        {"changes_a_second_least", *std::min_element(rates.begin(), rates.end())},
        {"changes_a_second_most", *std::max_element(rates.begin(), rates.end())},
    };
    std::puts(line.dump().c_str());
}

void compare(MonitoredService& service, int perEvent) {
    std::map<int, std::vector<double>> rates;
    for (int round = -1; round < rounds; ++round) {
        for (const int nodes : {100, 10000}) {
            service.fill(nodes, deviceSize);
            const double rate = changesPerSecond(service, makeEvents(service.nodes(), perEvent));
            if (round >= 0) {  // the first is to warm up
                rates[nodes].push_back(rate);
            }
        }
    }
    for (const auto& [nodes, measured] : rates) {
        tell(perEvent, nodes, measured);
    }
    const nlohmann::ordered_json line = {
        {"benchmark", "status changes, " + std::to_string(perEvent) + " an event"},
        {"ratio_10000_nodes_to_100", median(rates[10000]) / median(rates[100])},
    };
    std::puts(line.dump().c_str());
}

}  // namespace

void measureStatusChanges() {
    const DeviceProcess device(1, DeviceProcess::Kind::SendsEvents);
    MonitoredService service;
    for (const int perEvent : {1, 100}) {
        compare(service, perEvent);
    }
}

}  // namespace tarn::benchmarks
