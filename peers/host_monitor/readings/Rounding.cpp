#include "peers/host_monitor/readings/Rounding.h"

#include <algorithm>
#include <cmath>

namespace tarn::peers::host_monitor {

double toTenths(double value) {
    return std::round(value * 10) / 10;
}

double toHalves(double value) {
    return std::round(value * 2) / 2;
}

double percentOf(double part, double whole) {
    return whole > 0 ? toTenths(std::clamp(part / whole * 100, 0.0, 100.0)) : 0;
}

std::uint64_t toThousandths(std::uint64_t part, std::uint64_t whole) {
    const auto step = std::max<std::uint64_t>(whole / 1000, 1);
    return part / step * step;
}

std::uint64_t toThreeDigits(double value) {
    if (!(value >= 1)) {
        return 0;
    }
    constexpr double most = 1e18;
    const auto step =
        std::pow(10, std::max(std::floor(std::log10(std::min(value, most))) - 2, 0.0));
    return static_cast<std::uint64_t>(std::round(std::min(value, most) / step) * step);
}

}  // namespace tarn::peers::host_monitor
