#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace tarn::peers::host_monitor {

/// What a processor has done since the machine's start, in ticks.
struct ProcessorTicks {
    std::uint64_t busy = 0;
    std::uint64_t idle = 0;
};

/// By number; all of them together under `allProcessors`.
using Processors = std::map<int, ProcessorTicks>;
constexpr int allProcessors = -1;

/// From the text of /proc/stat. Lines that are none of a processor, or broken, are left out.
Processors parseProcessors(std::string_view text);

/// Percent of the time between two readings, in tenths. Ticks that ran backwards (the kernel does
/// not promise that they never do) count as none.
double loadBetween(const ProcessorTicks& before, const ProcessorTicks& after);

}  // namespace tarn::peers::host_monitor
