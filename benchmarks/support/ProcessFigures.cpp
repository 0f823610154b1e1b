#include "benchmarks/support/ProcessFigures.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace tarn::benchmarks {

namespace {

// The kernel cuts the name that it keeps.
std::string nameOf(const std::string& id) {
    std::error_code none;
    return std::filesystem::read_symlink("/proc/" + id + "/exe", none).filename();
}

std::vector<std::string> entriesOf(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    return names;
}

long statusOf(const std::string& task, const std::string& key) {
    std::ifstream status("/proc/" + task + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(key)) {
            return std::stol(line.substr(key.size()));
        }
    }
    throw std::runtime_error("cannot read the status of process " + task);
}

}  // namespace

ProcessFigures::ProcessFigures(const std::string& name) {
    const auto found = all(name);
    if (found.empty()) {
        throw std::runtime_error("no " + name + " runs");
    }
    id = found.back().id;
}

std::vector<ProcessFigures> ProcessFigures::all(const std::string& name) {
    std::vector<ProcessFigures> found;
    for (const auto& entry : entriesOf("/proc")) {
        if (nameOf(entry) == name) {
            found.emplace_back(std::stoi(entry));
        }
    }
    return found;
}

ProcessFigures::ProcessFigures(pid_t process) : id(std::to_string(process)) {}

long ProcessFigures::residentKilobytes() const {
    return statusOf(id, "VmRSS:");
}

long ProcessFigures::threads() const {
    return statusOf(id, "Threads:");
}

double ProcessFigures::sumOverThreads(
    const std::function<double(const std::string& task)>& figureOf) const {
    double sum = 0;
    for (const auto& thread : entriesOf("/proc/" + id + "/task")) {
        sum += figureOf(id + "/task/" + thread);
    }
    return sum;
}

// The scheduler's own count in nanoseconds, over all threads: ticks are too coarse for this.
double ProcessFigures::processorSeconds() const {
    return sumOverThreads([](const std::string& task) {
               double used = 0;
               std::ifstream("/proc/" + task + "/schedstat") >> used;
               return used;
           }) /
           1e9;
}

double ProcessFigures::wakeUps() const {
    return sumOverThreads([](const std::string& task) {
        return static_cast<double>(statusOf(task, "voluntary_ctxt_switches:"));
    });
}

}  // namespace tarn::benchmarks
