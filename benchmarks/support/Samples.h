#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace tarn::benchmarks {

/// Durations of one operation, in microseconds.
class Samples {
  public:
    void add(std::chrono::steady_clock::duration duration);
    std::size_t count() const { return values.size(); }

    /// `fraction` 0.5 is the median. Nearest rank; needs at least one sample.
    double percentile(double fraction) const;

  private:
    std::vector<double> values;
};

/// Writes one result as a JSON line to standard output.
void report(const std::string& benchmark, const Samples& measured, const std::string& baseline,
            const Samples& reference);

}  // namespace tarn::benchmarks
