#include "peers/host_monitor/readings/NetworkInterfaces.h"

#include <net/if.h>

#include <charconv>
#include <optional>
#include <vector>

#include "peers/host_monitor/readings/KernelFiles.h"
#include "peers/host_monitor/readings/Text.h"

namespace tarn::peers::host_monitor {

namespace {

// The numbers of a line: eight of what was received, eight of what was sent.
enum Column : std::size_t { ReceivedBytes = 0, ReceiveErrors = 2, SentBytes = 8, SendErrors = 10 };
constexpr std::size_t columns = 16;

// The name becomes a part of a path.
bool isName(std::string_view text) {
    return !text.empty() && text.size() < IFNAMSIZ && text != "." && text != ".." &&
           text.find('/') == std::string_view::npos;
}

std::optional<NetworkCounters> parseCounters(std::string_view text) {
    std::vector<std::uint64_t> values;
    for (const auto word : wordsOf(text)) {
        const auto value = toUnsigned(word);
        if (!value) {
            return std::nullopt;
        }
        values.push_back(*value);
    }
    if (values.size() < columns) {
        return std::nullopt;
    }
    return NetworkCounters{.receivedBytes = values[ReceivedBytes],
                           .receiveErrors = values[ReceiveErrors],
                           .sentBytes = values[SentBytes],
                           .sendErrors = values[SendErrors]};
}

// "0x1003"; no flags when it cannot be read.
unsigned readFlags(const std::filesystem::path& path) {
    const auto text = readWord(path).value_or("");
    unsigned flags = 0;
    if (text.starts_with("0x")) {
        std::from_chars(text.data() + 2, text.data() + text.size(), flags, 16);
    }
    return flags;
}

// Drivers that do not watch their link (the loopback's among them) say "unknown".
std::string stateOf(const std::filesystem::path& folder, unsigned flags) {
    const auto state = readWord(folder / "operstate");
    if (!state || state->empty() || *state == "unknown") {
        return (flags & IFF_UP) != 0 ? "up" : "down";
    }
    return *state;
}

}  // namespace

std::map<std::string, NetworkCounters> parseNetworkCounters(std::string_view text) {
    std::map<std::string, NetworkCounters> interfaces;
    for (const auto line : linesOf(text)) {
        const auto colon = line.find(':');
        if (colon == std::string_view::npos) {
            continue;  // a heading
        }
        const auto name = trimmed(line.substr(0, colon));
        const auto counters = parseCounters(line.substr(colon + 1));
        if (isName(name) && counters) {
            interfaces.emplace(name, *counters);
        }
    }
    return interfaces;
}

std::map<std::string, NetworkInterface> readNetworkInterfaces(const std::filesystem::path& root) {
    std::map<std::string, NetworkInterface> interfaces;
    const auto text = readKernelFile(root / "proc/net/dev").value_or("");
    for (const auto& [name, counters] : parseNetworkCounters(text)) {
        const auto folder = root / "sys/class/net" / name;
        const auto flags = readFlags(folder / "flags");
        const bool isLoopback = (flags & IFF_LOOPBACK) != 0 || name == "lo";
        interfaces[name] = {
            .counters = counters,
            .kind = isLoopback ? NetworkInterface::Kind::Loopback : NetworkInterface::Kind::Other,
            .state = stateOf(folder, flags),
            .hasCarrier = readWord(folder / "carrier") == "1"};
    }
    return interfaces;
}

}  // namespace tarn::peers::host_monitor
