#include "benchmarks/support/Samples.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace tarn::benchmarks {

void Samples::add(std::chrono::steady_clock::duration duration) {
    values.push_back(std::chrono::duration<double, std::micro>(duration).count());
}

double Samples::percentile(double fraction) const {
    auto sorted = values;
    std::sort(sorted.begin(), sorted.end());
    const auto rank =
        static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(sorted.size())));
    return sorted.at(std::max<std::size_t>(rank, 1) - 1);
}

void report(const std::string& benchmark, const Samples& measured, const std::string& baseline,
            const Samples& reference) {
    const auto p50 = measured.percentile(0.5);
    const auto p99 = measured.percentile(0.99);
    const auto basis50 = reference.percentile(0.5);
    const auto basis99 = reference.percentile(0.99);
    const nlohmann::ordered_json line = {
        {"benchmark", benchmark},
        {"samples", measured.count()},
        {"p50_us", p50},
        {"p99_us", p99},
        {"baseline", baseline},
        {"baseline_p50_us", basis50},
        {"baseline_p99_us", basis99},
        {"ratio_p50", p50 / basis50},
        {"ratio_p99", p99 / basis99},
        {"difference_p50_us", p50 - basis50},
    };
    std::puts(line.dump().c_str());
    std::fflush(stdout);
}

}  // namespace tarn::benchmarks
