#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/ProcessFigures.h"

namespace tarn::benchmarks {

namespace {

constexpr std::chrono::seconds watched{20};

}  // namespace

void measureIdleService() {
    const ProcessFigures service("TarnService");
    const double before = service.processorSeconds();
    std::this_thread::sleep_for(watched);
    const double used = service.processorSeconds() - before;
    const nlohmann::ordered_json line = {
        {"benchmark", "idle service"},
        {"seconds", watched.count()},
        {"resident_kB", service.residentKilobytes()},
        {"processor_percent_of_one_core", 100 * used / static_cast<double>(watched.count())},
    };
    std::puts(line.dump().c_str());
}

}  // namespace tarn::benchmarks
