#include <dirent.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "benchmarks/Benchmarks.h"

namespace tarn::benchmarks {

namespace {

constexpr std::chrono::seconds watched{20};

std::string nameOf(const std::string& id) {
    std::string name;
    std::getline(std::ifstream("/proc/" + id + "/comm") >> std::ws, name);
    return name;
}

std::string findService() {
    DIR* const folder = ::opendir("/proc");
    std::string found;
    while (const dirent* const entry = ::readdir(folder)) {
        if (nameOf(entry->d_name) == "TarnService") {
            found = entry->d_name;
        }
    }
    ::closedir(folder);
    if (found.empty()) {
        throw std::runtime_error("no TarnService runs");
    }
    return found;
}

long residentKilobytes(const std::string& id) {
    std::ifstream status("/proc/" + id + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) {
            return std::stol(line.substr(6));
        }
    }
    throw std::runtime_error("cannot read the status of process " + id);
}

// The scheduler's own count in nanoseconds, over all threads: ticks are too coarse for this.
double processorSeconds(const std::string& id) {
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

}  // namespace

void measureIdleService() {
    const auto id = findService();
    const double before = processorSeconds(id);
    std::this_thread::sleep_for(watched);
    const double used = processorSeconds(id) - before;
    const nlohmann::ordered_json line = {
        {"benchmark", "idle service"},
        {"seconds", watched.count()},
        {"resident_kB", residentKilobytes(id)},
        {"processor_percent_of_one_core", 100 * used / static_cast<double>(watched.count())},
    };
    std::puts(line.dump().c_str());
}

}  // namespace tarn::benchmarks
