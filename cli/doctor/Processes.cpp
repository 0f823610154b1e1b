#include "cli/doctor/Processes.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "platform/os/SmallFile.h"

namespace tarn::cli {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t longestName = 15;
constexpr const char* programs[] = {
    "TarnService",          "tarnGateway",        "tarnHostMonitor",     "tarnLoopStorage",
    "tarnWorkflowLauncher", "tarnEngineLauncher", "tarnPipelineProcess", "KLN-SDI-Ingest-Service"};

bool isOurs(const std::string& name) {
    return std::any_of(std::begin(programs), std::end(programs), [&](const std::string& program) {
        return name == program.substr(0, longestName);
    });
}

std::optional<pid_t> idOf(const std::string& name) {
    pid_t id = 0;
    const auto end = name.data() + name.size();
    const auto read = std::from_chars(name.data(), end, id);
    return read.ec == std::errc() && read.ptr == end ? std::optional(id) : std::nullopt;
}

std::string firstLine(const fs::path& file) {
    const auto text = os::readBeginning(file.string(), 256).value_or("");
    return text.substr(0, text.find('\n'));
}

}  // namespace

std::vector<ServerProcess> serverProcesses(const Machine& machine) {
    std::vector<ServerProcess> found;
    std::error_code failure;
    for (fs::directory_iterator entry(machine.at("/proc"), failure), end; !failure && entry != end;
         entry.increment(failure)) {
        const auto id = idOf(entry->path().filename().string());
        const auto name = id ? firstLine(entry->path() / "comm") : std::string();
        if (isOurs(name)) {
            std::error_code unseen;
            found.push_back({*id, name, fs::read_symlink(entry->path() / "exe", unseen).string()});
        }
    }
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.id < b.id; });
    return found;
}

}  // namespace tarn::cli
