#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "peers/host_monitor/readings/DiskSpace.h"
#include "peers/host_monitor/readings/MemoryInfo.h"
#include "peers/host_monitor/readings/Mounts.h"
#include "peers/host_monitor/readings/NetworkInterfaces.h"
#include "peers/host_monitor/readings/Processors.h"
#include "peers/host_monitor/readings/Temperatures.h"

namespace tarn::peers::host_monitor {

struct Disk {
    Mount mount;
    DiskSpace space;
};

/// The machine at one moment. What it does not tell is missing.
struct HostReading {
    std::chrono::steady_clock::time_point time;
    std::string kernel;
    Processors processors;
    std::optional<MemoryInfo> memory;
    std::vector<Disk> disks;
    std::map<std::string, NetworkInterface> interfaces;
    std::vector<Temperature> temperatures;
};

/// Reads the machine's own files below `root`, which is "/" but in tests.
class HostReader {
  public:
    explicit HostReader(std::filesystem::path root) : root(std::move(root)) {}

    HostReading read(std::chrono::steady_clock::time_point now) const;

  private:
    std::vector<Disk> readDisks() const;

    const std::filesystem::path root;
};

}  // namespace tarn::peers::host_monitor
