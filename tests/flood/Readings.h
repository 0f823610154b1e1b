#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace tarn::flood {

/// What a process has of something, read again and again.
class Readings {
  public:
    explicit Readings(std::string name) : name(std::move(name)) {}

    void add(std::size_t reading) { all.push_back(reading); }

    /// The middle one of those between these parts of the time, such as 0.5 and 0.75.
    std::size_t middleOf(double from, double to) const;

    /// How much larger it was in the last quarter than in the second, in percent. Before that,
    /// caches are filled.
    double growth() const;
    std::size_t largest() const;

    /// One line.
    std::string describe() const;

  private:
    const std::string name;
    std::vector<std::size_t> all;
};

/// Of a process, in bytes; 0 for none.
std::size_t residentBytesOf(pid_t process);
std::size_t openDescriptorsOf(pid_t process);

}  // namespace tarn::flood
