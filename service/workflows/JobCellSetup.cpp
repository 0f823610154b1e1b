#include "service/workflows/JobCellSetup.h"

#include <charconv>
#include <cstdint>
#include <optional>

#include "proto/service.pb.h"
#include "service/configuration/JobCellSettings.h"

namespace tarn::service {

namespace {

using Properties = std::map<std::string, std::vector<std::string>>;

constexpr std::uint64_t mebibyte = 1 << 20;

std::optional<std::uint64_t> wishOf(const Properties& properties, const std::string& name) {
    const auto found = properties.find(name);
    if (found == properties.end() || found->second.size() != 1) {
        return std::nullopt;
    }
    const auto& text = found->second.front();
    std::uint32_t wish = 0;  // so that no unit makes it overflow
    const auto result = std::from_chars(text.data(), text.data() + text.size(), wish);
    const bool isNumber = result.ec == std::errc() && result.ptr == text.data() + text.size();
    return isNumber && wish > 0 ? std::optional<std::uint64_t>(wish) : std::nullopt;
}

struct LimitChoice {
    const Properties& properties;
    std::string refused = {};

    std::uint64_t choose(const std::string& name, int configured) {
        const auto most = configured > 0 ? static_cast<std::uint64_t>(configured) : 0;
        const auto wish = wishOf(properties, name);
        if (wish && most > 0 && *wish > most) {
            refused += (refused.empty() ? "" : ", ") + name + " " + std::to_string(*wish) +
                       " (it gets " + std::to_string(most) + ")";
            return most;
        }
        return wish.value_or(most);
    }
};

}  // namespace

std::string describeCell(const configuration::JobCellSettings& settings,
                         const Properties& properties, tarn::service::proto::JobCell& cell) {
    cell.set_folders_are_named(settings.isGiven);
    cell.set_required(settings.isRequired);
    cell.mutable_read_folders()->Add(settings.readFolders.begin(), settings.readFolders.end());
    cell.mutable_write_folders()->Add(settings.writeFolders.begin(), settings.writeFolders.end());
    cell.mutable_refused_elements()->Add(settings.refusedElements.begin(),
                                         settings.refusedElements.end());
    cell.set_user(settings.user);
    LimitChoice limits{properties};
    cell.set_memory_bytes(limits.choose("MemoryMiB", settings.memoryMiB) * mebibyte);
    cell.set_processes(limits.choose("Processes", settings.processes));
    cell.set_descriptors(limits.choose("Descriptors", settings.descriptors));
    return limits.refused;
}

}  // namespace tarn::service
