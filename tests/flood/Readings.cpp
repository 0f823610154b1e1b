#include "tests/flood/Readings.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace tarn::flood {

std::size_t Readings::middleOf(double from, double to) const {
    const auto count = static_cast<double>(all.size());
    std::vector<std::size_t> part(all.begin() + static_cast<std::ptrdiff_t>(from * count),
                                  all.begin() + static_cast<std::ptrdiff_t>(to * count));
    if (part.empty()) {
        return 0;
    }
    const auto middle = part.begin() + static_cast<std::ptrdiff_t>(part.size() / 2);
    std::nth_element(part.begin(), middle, part.end());
    return *middle;
}

double Readings::growth() const {
    const auto before = static_cast<double>(middleOf(0.25, 0.5));
    const auto after = static_cast<double>(middleOf(0.75, 1));
    return before == 0 ? 0 : 100 * (after - before) / before;
}

std::size_t Readings::largest() const {
    return all.empty() ? 0 : *std::max_element(all.begin(), all.end());
}

std::string Readings::describe() const {
    return fmt::format("{}: {} in the second quarter, {} in the last ({:+.1f} %), {} at most", name,
                       middleOf(0.25, 0.5), middleOf(0.75, 1), growth(), largest());
}

std::size_t residentBytesOf(pid_t process) {
    std::size_t all = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/" + std::to_string(process) + "/statm") >> all >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

std::size_t openDescriptorsOf(pid_t process) {
    std::error_code gone;
    const std::filesystem::directory_iterator all("/proc/" + std::to_string(process) + "/fd", gone);
    return gone ? 0 : static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

}  // namespace tarn::flood
