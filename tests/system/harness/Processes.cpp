#include "tests/system/harness/Processes.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

namespace tarn::test {

namespace {

// Empty for a process that has just gone: also between the opening and the reading.
std::string contentOf(const std::filesystem::path& path) {
    try {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    } catch (const std::ios_base::failure&) {
        return {};
    }
}

std::optional<pid_t> asProcessId(const std::string& name) {
    pid_t id = 0;
    const auto result = std::from_chars(name.data(), name.data() + name.size(), id);
    return result.ptr == name.data() + name.size() ? std::optional(id) : std::nullopt;
}

// Nothing for a process that has just gone.
std::optional<OtherProcess> readProcess(pid_t id) {
    const auto folder = std::filesystem::path("/proc") / std::to_string(id);
    const auto status = contentOf(folder / "stat");
    const auto nameEnd = status.rfind(')');
    if (nameEnd == std::string::npos || nameEnd + 4 >= status.size()) {
        return std::nullopt;
    }
    OtherProcess process;
    process.id = id;
    process.state = status[nameEnd + 2];
    process.parent = static_cast<pid_t>(std::stol(status.substr(nameEnd + 4)));
    process.command = contentOf(folder / "cmdline");
    std::replace(process.command.begin(), process.command.end(), '\0', ' ');
    if (process.command.empty()) {
        process.command = status.substr(0, nameEnd + 1);
    }
    return process;
}

}  // namespace

std::vector<OtherProcess> otherProcesses() {
    constexpr pid_t first = 1;
    std::vector<OtherProcess> processes;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const auto id = asProcessId(entry.path().filename().string());
        if (!id || *id == first || *id == ::getpid()) {
            continue;
        }
        if (auto process = readProcess(*id)) {
            processes.push_back(std::move(*process));
        }
    }
    return processes;
}

std::vector<OtherProcess> processesRunning(const std::string& part) {
    auto processes = otherProcesses();
    std::erase_if(processes, [&](const OtherProcess& process) {
        return process.state == 'Z' || process.command.find(part) == std::string::npos;
    });
    return processes;
}

std::string describe(const std::vector<OtherProcess>& processes) {
    std::string text;
    for (const auto& process : processes) {
        text += std::to_string(process.id) + " (parent " + std::to_string(process.parent) +
                ", state " + process.state + ") " + process.command + "\n";
    }
    return text;
}

}  // namespace tarn::test
