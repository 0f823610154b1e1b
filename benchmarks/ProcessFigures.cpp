#include "benchmarks/ProcessFigures.h"

#include <dirent.h>

#include <fstream>
#include <stdexcept>

namespace tarn::benchmarks {

namespace {

std::string nameOf(const std::string& id) {
    std::string name;
    std::getline(std::ifstream("/proc/" + id + "/comm") >> std::ws, name);
    return name;
}

long statusOf(const std::string& id, const std::string& key) {
    std::ifstream status("/proc/" + id + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(key)) {
            return std::stol(line.substr(key.size()));
        }
    }
    throw std::runtime_error("cannot read the status of process " + id);
}

}  // namespace

ProcessFigures::ProcessFigures(const std::string& name) {
    DIR* const folder = ::opendir("/proc");
    while (const dirent* const entry = ::readdir(folder)) {
        if (nameOf(entry->d_name) == name) {
            id = entry->d_name;
        }
    }
    ::closedir(folder);
    if (id.empty()) {
        throw std::runtime_error("no " + name + " runs");
    }
}

ProcessFigures::ProcessFigures(pid_t process) : id(std::to_string(process)) {}

long ProcessFigures::residentKilobytes() const {
    return statusOf(id, "VmRSS:");
}

long ProcessFigures::threads() const {
    return statusOf(id, "Threads:");
}

// The scheduler's own count in nanoseconds, over all threads: ticks are too coarse for this.
double ProcessFigures::processorSeconds() const {
    double nanoseconds = 0;
    DIR* const threads = ::opendir(("/proc/" + id + "/task").c_str());
    while (const dirent* const entry = ::readdir(threads)) {
        if (entry->d_name[0] != '.') {
            double used = 0;
            std::ifstream("/proc/" + id + "/task/" + entry->d_name + "/schedstat") >> used;
            nanoseconds += used;
        }
    }
    ::closedir(threads);
    return nanoseconds / 1e9;
}

}  // namespace tarn::benchmarks
