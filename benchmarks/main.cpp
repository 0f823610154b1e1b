#include <cstdio>
#include <cstring>
#include <exception>

#include "benchmarks/Benchmarks.h"

namespace {

struct Entry {
    const char* name;
    void (*measure)();
};

constexpr Entry entries[] = {
    {"api-latency", tarn::benchmarks::measureApiLatency},
    {"access-check", tarn::benchmarks::measureAccessCheck},
    {"tcp-keys", tarn::benchmarks::measureTcpKeys},
    {"job-start", tarn::benchmarks::measureJobStart},
    {"job-cell", tarn::benchmarks::measureJobCell},
    {"tool-start", tarn::benchmarks::measureToolStart},
    {"idle", tarn::benchmarks::measureIdleService},
    {"loop-storage", tarn::benchmarks::measureLoopStorage},
    {"storage-tls", tarn::benchmarks::measureStorageEncryption},
    {"track-creation", tarn::benchmarks::measureCreatingTracks},
    {"capture-formats", tarn::benchmarks::measureCaptureFormats},
    {"dead-ingest", tarn::benchmarks::measureDeadIngest},
    {"device-change", tarn::benchmarks::measureDeviceChange},
    {"status-changes", tarn::benchmarks::measureStatusChanges},
    {"monitoring-info", tarn::benchmarks::measureMonitoringInfo},
    {"device-memory", tarn::benchmarks::measureDeviceMemory},
    {"gateway-fan-out", tarn::benchmarks::measureGatewayFanOut},
    {"gateway-updates", tarn::benchmarks::measureGatewayUpdates},
    {"device-fleet", tarn::benchmarks::measureDeviceFleet},
};

}  // namespace

int main(int argc, char* argv[]) {
    bool found = false;
    for (const auto& entry : entries) {
        if (argc != 2 || std::strcmp(argv[1], entry.name) != 0) {
            continue;
        }
        found = true;
        try {
            entry.measure();
        } catch (const std::exception& e) {
            std::fprintf(stderr, "%s: %s\n", entry.name, e.what());
            return 1;
        }
    }
    if (!found) {
        std::fputs("usage: tarn_benchmarks", stderr);
        for (const auto& entry : entries) {
            std::fprintf(stderr, "%s%s", &entry == entries ? " " : " | ", entry.name);
        }
        std::fputs("\n", stderr);
        return 2;
    }
    return 0;
}
