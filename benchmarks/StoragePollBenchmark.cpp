// What a poll of a loop storage costs, against a real server on a Unix socket.
#include <benchmark/benchmark.h>

#include "benchmarks/support/StorageServer.h"
#include "platform/device_tree/DeviceNode.h"
#include "platform/utils/MessageFormatter.h"
#include "proto/monitoring.pb.h"
#include "service/devices/DevicePublisher.h"
#include "service/devices/storage/StorageConnection.h"
#include "service/devices/storage/StorageDescription.h"

namespace tarn::benchmarks {

namespace {

using namespace service::devices;

/// A server whose tracks become more.
class GrowingServer {
  public:
    std::string socketPath() const { return server.socketPath(); }

    /// Creates tracks until there are that many, each with a property.
    void growTo(std::size_t tracks) {
        const StorageErrors error;
        const auto connection = server.connectUnix();
        for (; created < tracks; ++created) {
            const auto id =
                tarn_storage_track_create(connection.get(), trackSize, 0, nullptr, error);
            error.check();
            const StoragePointer<tarn_storage_property_list> properties(
                tarn_storage_property_list_create());
            tarn_storage_property_list_set(properties.get(), "Name",
                                           std::to_string(created).c_str());
            tarn_storage_track_set_properties(connection.get(), id, properties.get(), error);
            error.check();
        }
    }

  private:
    static constexpr std::uint64_t trackSize = 65536;
    const StorageServer server;
    std::size_t created = 0;
};

/// Everything about a server with that many tracks.
class Poll {
  public:
    explicit Poll(const benchmark::State& state) : storage{server().socketPath()} {
        server().growTo(static_cast<std::size_t>(state.range(0)));
    }

    std::shared_ptr<device_tree::DeviceNode> operator()() const {
        StorageError error;
        const auto connection = connectStorage(storage, error);
        return StorageDescription(storage, formatter).ask(*connection);
    }

    const StorageAddress storage;

  private:
    static GrowingServer& server() {
        static GrowingServer growing;
        return growing;
    }

    const utils::MessageFormatter formatter{"benchmark"};
};

/// To compare with: a connection and the one question that does not grow.
void connectAndAskForSpace(benchmark::State& state) {
    const Poll poll(state);
    for ([[maybe_unused]] auto _ : state) {
        StorageError error;
        const auto connection = connectStorage(poll.storage, error);
        benchmark::DoNotOptimize(tarn_storage_get_remaining_space(connection.get(), error.get()));
    }
}

void describe(benchmark::State& state) {
    const Poll poll(state);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(poll());
    }
}

/// What the polling thread does every second. Every time, the statuses of `range(1)` tracks are
/// others than before; the counter is what leaves the process for that.
void pollAndPublish(benchmark::State& state) {
    const Poll poll(state);
    std::size_t bytes = 0;
    DevicePublisher publisher([&bytes](const auto* event) {
        bytes += event->ByteSizeLong();
        return true;
    });
    publisher.updateDeviceTree(poll());
    bytes = 0;
    std::int64_t time = 0;
    for ([[maybe_unused]] auto _ : state) {
        const auto node = poll();
        ++time;
        for (std::int64_t track = 0; track < state.range(1); ++track) {
            const auto id = node->getId() + "_track_" + std::to_string(track);
            node->updateStatusValue(id, device_tree::NamedStatus("EndTimepoint", time));
        }
        publisher.updateDeviceTree(node);
    }
    state.counters["bytes sent/poll"] =
        benchmark::Counter(static_cast<double>(bytes), benchmark::Counter::kAvgIterations);
    state.counters["bytes of all"] = static_cast<double>(poll()->toProtoBuf().ByteSizeLong());
}

BENCHMARK(connectAndAskForSpace)
    ->Arg(10)
    ->ArgName("tracks")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(describe)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1000)
    ->ArgName("tracks")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(pollAndPublish)
    ->ArgNames({"tracks", "changed"})
    ->Args({1000, 0})
    ->Args({1000, 16})
    ->Args({1000, 1000})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

}  // namespace tarn::benchmarks

BENCHMARK_MAIN();
