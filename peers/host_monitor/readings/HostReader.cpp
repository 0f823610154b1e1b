#include "peers/host_monitor/readings/HostReader.h"

#include "peers/host_monitor/readings/KernelFiles.h"

namespace tarn::peers::host_monitor {

HostReading HostReader::read(std::chrono::steady_clock::time_point now) const {
    return {.time = now,
            .kernel = readWord(root / "proc/sys/kernel/osrelease").value_or(""),
            .processors = parseProcessors(readKernelFile(root / "proc/stat").value_or("")),
            .memory = parseMemoryInfo(readKernelFile(root / "proc/meminfo").value_or("")),
            .disks = readDisks(),
            .interfaces = readNetworkInterfaces(root),
            .temperatures = readTemperatures(root)};
}

std::vector<Disk> HostReader::readDisks() const {
    std::vector<Disk> disks;
    const auto text = readKernelFile(root / "proc/self/mounts").value_or("");
    for (const auto& mount : localDisks(parseMounts(text))) {
        if (const auto space = readDiskSpace(root / mount.point.substr(1))) {
            disks.push_back({.mount = mount, .space = *space});
        }
    }
    return disks;
}

}  // namespace tarn::peers::host_monitor
