#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>
#include <vector>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/BenchmarkJob.h"
#include "benchmarks/support/ProcessFigures.h"

namespace tarn::benchmarks {

namespace {

constexpr std::chrono::seconds settling{3};
constexpr std::chrono::seconds watched{20};

/// One program, of which several processes may run: the figures are those of one of them.
class Watch {
  public:
    explicit Watch(const std::string& program)
        : program(program),
          processes(ProcessFigures::all(program)),
          processor(sum(&ProcessFigures::processorSeconds)),
          wakeUps(sum(&ProcessFigures::wakeUps)) {}

    void report(std::size_t jobs) const {
        const auto seconds = static_cast<double>(watched.count());
        const auto count = static_cast<double>(processes.size());
        const nlohmann::ordered_json line = {
            {"benchmark", "idle " + program},
            {"jobs", jobs},
            {"seconds", watched.count()},
            {"resident_kB", processes.back().residentKilobytes()},
            {"processor_percent_of_one_core",
             100 * (sum(&ProcessFigures::processorSeconds) - processor) / seconds / count},
            {"wake_ups_a_second", (sum(&ProcessFigures::wakeUps) - wakeUps) / seconds / count},
        };
        std::puts(line.dump().c_str());
        std::fflush(stdout);
    }

  private:
    double sum(double (ProcessFigures::*figure)() const) const {
        double all = 0;
        for (const auto& process : processes) {
            all += (process.*figure)();
        }
        return all;
    }

    const std::string program;
    const std::vector<ProcessFigures> processes;
    const double processor;
    const double wakeUps;
};

void watch(const std::vector<std::string>& programs, std::size_t jobs) {
    std::this_thread::sleep_for(settling);
    const std::vector<Watch> watches(programs.begin(), programs.end());
    std::this_thread::sleep_for(watched);
    for (const auto& each : watches) {
        each.report(jobs);
    }
}

}  // namespace

void measureIdleService() {
    watch({"TarnService", "tarnGateway"}, 0);
    std::vector<BenchmarkJob> jobs;
    for (int i = 0; i < 3; ++i) {
        jobs.push_back(BenchmarkJob::submit());
        jobs.back().waitUntilPlaying();
    }
    watch({"TarnService", "tarnGateway", "tarnWorkflowLauncher", "tarnPipelineProcess"},
          jobs.size());
    for (const auto& job : jobs) {
        job.destroy();
    }
}

}  // namespace tarn::benchmarks
