#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace tarn::benchmarks {

/// What a running process uses, as the system tells it. Throws std::runtime_error.
class ProcessFigures {
  public:
    /// The process of that name.
    explicit ProcessFigures(const std::string& name);
    explicit ProcessFigures(pid_t process);
    /// All of that name.
    static std::vector<ProcessFigures> all(const std::string& name);

    long residentKilobytes() const;
    long threads() const;

    /// Since its start, over the threads that it has now.
    double processorSeconds() const;

    /// How often one of its threads has gone to sleep to be woken again; likewise.
    double wakeUps() const;

  private:
    double sumOverThreads(const std::function<double(const std::string& task)>& figureOf) const;

    std::string id;
};

}  // namespace tarn::benchmarks
