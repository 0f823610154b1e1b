#include "tests/chaos/model/LaunchLog.h"

#include <utility>

namespace tarn::chaos {

namespace {

constexpr test::OutputLines::Bound atOnce{0};

bool holds(const std::string& line, const std::string& part) {
    return !part.empty() && line.find(part) != std::string::npos;
}

}  // namespace

LaunchLog::LaunchLog(const test::OutputLines& log, std::size_t from, Order order)
    : log(log), from(from), order(std::move(order)) {}

// The word after " -e " in the command that starts the launcher.
std::string LaunchLog::privateEndpoint() const {
    const auto option = " -l " + order.label + " -e ";
    const auto line = log.waitFor(option, from, atOnce);
    if (!line) {
        return {};
    }
    const auto begin = line->find(option) + option.size();
    return line->substr(begin, line->find(' ', begin) - begin);
}

bool LaunchLog::launcherWasLate() const {
    const auto endpoint = privateEndpoint();
    return !endpoint.empty() && log.find("nobody answered on " + endpoint + " within", from);
}

std::vector<std::string> LaunchLog::lastLines(std::size_t most) const {
    const auto endpoint = privateEndpoint();
    const auto all = log.all();
    std::vector<std::string> found;
    for (auto n = all.size(); n > from && found.size() < most; --n) {
        const auto& line = all[n - 1];
        if (holds(line, order.id) || holds(line, order.label) || holds(line, endpoint)) {
            found.insert(found.begin(), line);
        }
    }
    return found;
}

}  // namespace tarn::chaos
