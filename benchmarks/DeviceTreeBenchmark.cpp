// The device tree at 10 to 10,000 nodes: flat, and with ten sub-devices below each node.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include "benchmarks/support/SampleNode.h"
#include "platform/device_tree/DeviceNode.h"
#include "platform/device_tree/EventHelper.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace {

using benchmarks::idOf;
using benchmarks::sampleNode;

enum Shape { Flat, Nested };

void addTo(DeviceNode& parent, const DeviceNode& child) {
    std::string error;
    parent.addSubDevice(std::make_shared<DeviceNode>(child), true, error);
}

/// The nodes from `first` on, `count` of them, the first being the root.
DeviceNode nestedTree(std::int64_t first, std::int64_t count) {
    DeviceNode root = sampleNode(idOf(first));
    const std::int64_t below = count - 1;
    for (std::int64_t part = 0; part < 10; ++part) {
        const std::int64_t from = below * part / 10;
        const std::int64_t size = below * (part + 1) / 10 - from;
        if (size > 0) {
            addTo(root, nestedTree(first + 1 + from, size));
        }
    }
    return root;
}

DeviceNode flatTree(std::int64_t count) {
    DeviceNode root = sampleNode(idOf(0));
    for (std::int64_t i = 1; i < count; ++i) {
        addTo(root, sampleNode(idOf(i)));
    }
    return root;
}

DeviceNode treeOf(const benchmark::State& state) {
    return state.range(1) == Flat ? flatTree(state.range(0)) : nestedTree(0, state.range(0));
}

/// Ids in an order that no cache foresees.
class Ids {
  public:
    explicit Ids(const benchmark::State& state) {
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            ids.push_back(idOf(i * 7919 % state.range(0)));
        }
    }

    const std::string& next() {
        at = at + 1 == ids.size() ? 0 : at + 1;
        return ids[at];
    }

  private:
    std::vector<std::string> ids;
    std::size_t at = 0;
};

void lookUp(benchmark::State& state) {
    const DeviceNode tree = treeOf(state);
    Ids ids(state);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(tree.getDeviceById(ids.next()));
    }
}

void snapshot(benchmark::State& state) {
    const DeviceNode tree = treeOf(state);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(DeviceNode(tree));
    }
}

void updateStatus(benchmark::State& state) {
    DeviceNode tree = treeOf(state);
    Ids ids(state);
    double value = 0;
    for ([[maybe_unused]] auto _ : state) {
        tree.updateStatusValue(ids.next(), NamedStatus("Load", ++value));
    }
}

/// As the service does: after every event somebody holds what the tree is now.
void updateStatusAndTakeSnapshot(benchmark::State& state) {
    DeviceNode tree = treeOf(state);
    DeviceNode latest = tree;
    Ids ids(state);
    double value = 0;
    for ([[maybe_unused]] auto _ : state) {
        tree.updateStatusValue(ids.next(), NamedStatus("Load", ++value));
        latest = tree;
    }
}

void addAndRemove(benchmark::State& state) {
    DeviceNode tree = treeOf(state);
    DeviceNode latest = tree;
    const auto added = std::make_shared<DeviceNode>(sampleNode("track-1000500-added"));
    std::string error;
    for ([[maybe_unused]] auto _ : state) {
        tree.addSubDevice(added, true, error);
        latest = tree;
        tree.removeSubDevice(added->getId(), true, error);
        latest = tree;
    }
}

void build(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(treeOf(state));
    }
}

void fromProtoBuf(benchmark::State& state) {
    const auto message = treeOf(state).toProtoBuf();
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(DeviceNode(message));
    }
}

void toProtoBuf(benchmark::State& state) {
    const DeviceNode tree = treeOf(state);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(tree.toProtoBuf());
    }
}

void toProtoBufAgain(benchmark::State& state) {
    const DeviceNode tree = treeOf(state);
    proto::monitoring::DeviceNode message;
    for ([[maybe_unused]] auto _ : state) {
        tree.toProtoBuf(message);
    }
}

/// What the message itself costs, to compare with.
void copyProtoBuf(benchmark::State& state) {
    const auto message = treeOf(state).toProtoBuf();
    for ([[maybe_unused]] auto _ : state) {
        auto copy = message;
        benchmark::DoNotOptimize(copy);
    }
}

void replaceDevice(benchmark::State& state) {
    const auto device = std::make_shared<DeviceNode>(treeOf(state));
    DeviceNode root("System", "System", DeviceClass::System);
    std::string error;
    for ([[maybe_unused]] auto _ : state) {
        root.addSubDevice(device, true, error);
    }
}

void computeEventOfOneStatus(benchmark::State& state) {
    const auto before = std::make_shared<DeviceNode>(treeOf(state));
    const auto after = std::make_shared<DeviceNode>(*before);
    after->updateStatusValue(idOf(state.range(0) / 2), NamedStatus("Load", 1.0));
    for ([[maybe_unused]] auto _ : state) {
        tarn::proto::monitoring::DeviceToTarnServiceEvent event;
        benchmark::DoNotOptimize(utils::EventHelper::ComputeEvent(before, after, event));
    }
}

void computeEventOfStrangers(benchmark::State& state) {
    const auto before = std::make_shared<DeviceNode>(treeOf(state));
    const auto after = std::make_shared<DeviceNode>(treeOf(state));
    for ([[maybe_unused]] auto _ : state) {
        tarn::proto::monitoring::DeviceToTarnServiceEvent event;
        benchmark::DoNotOptimize(utils::EventHelper::ComputeEvent(before, after, event));
    }
}

/// Of the heap, by what the allocator has handed out. Small trees would only reuse what is free.
void bytesANode(benchmark::State& state) {
    const auto message = treeOf(state).toProtoBuf();
    std::size_t bytes = 0;
    for ([[maybe_unused]] auto _ : state) {
        const std::size_t before = mallinfo2().uordblks;
        const DeviceNode tree(message);
        bytes = mallinfo2().uordblks - before;
    }
    state.counters["bytes/node"] = static_cast<double>(bytes) / static_cast<double>(state.range(0));
}

void shapes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"nodes", "nested"});
    benchmark->ArgsProduct({{10, 100, 1000, 10000}, {Flat, Nested}});
}

BENCHMARK(lookUp)->Apply(shapes);
BENCHMARK(snapshot)->Apply(shapes);
BENCHMARK(updateStatus)->Apply(shapes);
BENCHMARK(updateStatusAndTakeSnapshot)->Apply(shapes);
BENCHMARK(addAndRemove)->Apply(shapes);
BENCHMARK(build)->Apply(shapes);
BENCHMARK(fromProtoBuf)->Apply(shapes);
BENCHMARK(toProtoBuf)->Apply(shapes);
BENCHMARK(toProtoBufAgain)->Apply(shapes);
BENCHMARK(copyProtoBuf)->Apply(shapes);
BENCHMARK(replaceDevice)->Apply(shapes);
BENCHMARK(computeEventOfOneStatus)->Apply(shapes);
BENCHMARK(computeEventOfStrangers)->Apply(shapes);
BENCHMARK(bytesANode)
    ->ArgNames({"nodes", "nested"})
    ->ArgsProduct({{1000, 10000}, {Flat, Nested}})
    ->Iterations(1);

}  // namespace

}  // namespace tarn::device_tree

BENCHMARK_MAIN();
