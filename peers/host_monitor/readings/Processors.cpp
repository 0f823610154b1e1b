#include "peers/host_monitor/readings/Processors.h"

#include <optional>
#include <vector>

#include "peers/host_monitor/readings/Rounding.h"
#include "peers/host_monitor/readings/Text.h"

namespace tarn::peers::host_monitor {

namespace {

constexpr std::string_view label = "cpu";
constexpr std::uint64_t mostProcessors = 65536;
// user, nice, system, idle, iowait, irq, softirq, steal; the guests after them are in user already
constexpr std::size_t counters = 8;
constexpr std::size_t idleCounter = 3;
constexpr std::size_t ioWaitCounter = 4;

std::optional<int> numberOf(std::string_view word) {
    if (!word.starts_with(label)) {
        return std::nullopt;
    }
    if (word == label) {
        return allProcessors;
    }
    const auto number = toUnsigned(word.substr(label.size()));
    return number && *number < mostProcessors ? std::optional(static_cast<int>(*number))
                                              : std::nullopt;
}

// Old kernels have fewer counters, none has fewer than up to idle.
std::optional<ProcessorTicks> ticksOf(const std::vector<std::string_view>& words) {
    if (words.size() <= idleCounter + 1) {
        return std::nullopt;
    }
    ProcessorTicks ticks;
    for (std::size_t i = 0; i < counters && i + 1 < words.size(); ++i) {
        const auto count = toUnsigned(words[i + 1]);
        if (!count) {
            return std::nullopt;
        }
        auto& sum = i == idleCounter || i == ioWaitCounter ? ticks.idle : ticks.busy;
        sum += *count;
    }
    return ticks;
}

std::uint64_t growth(std::uint64_t before, std::uint64_t after) {
    return after > before ? after - before : 0;
}

}  // namespace

Processors parseProcessors(std::string_view text) {
    Processors processors;
    for (const auto line : linesOf(text)) {
        const auto words = wordsOf(line);
        const auto number = words.empty() ? std::nullopt : numberOf(words.front());
        const auto ticks = number ? ticksOf(words) : std::nullopt;
        if (ticks) {
            processors[*number] = *ticks;
        }
    }
    return processors;
}

double loadBetween(const ProcessorTicks& before, const ProcessorTicks& after) {
    const auto busy = static_cast<double>(growth(before.busy, after.busy));
    const auto idle = static_cast<double>(growth(before.idle, after.idle));
    return percentOf(busy, busy + idle);
}

}  // namespace tarn::peers::host_monitor
