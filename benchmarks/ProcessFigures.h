#pragma once

#include <sys/types.h>

#include <string>

namespace tarn::benchmarks {

/// What a running process uses, as the system tells it. Throws std::runtime_error.
class ProcessFigures {
  public:
    /// The process of that name.
    explicit ProcessFigures(const std::string& name);
    explicit ProcessFigures(pid_t process);

    long residentKilobytes() const;
    long threads() const;

    /// Since its start, over the threads that it has now.
    double processorSeconds() const;

  private:
    std::string id;
};

}  // namespace tarn::benchmarks
