#include "tests/chaos/model/FollowerChecks.h"

namespace tarn::chaos {

namespace {

// Descriptions are long: where they part, and a little of both.
std::string firstDifference(const std::string& real, const std::string& shown) {
    constexpr std::size_t context = 60;
    std::size_t at = 0;
    while (at < real.size() && at < shown.size() && real[at] == shown[at]) {
        ++at;
    }
    return "\"" + shown.substr(at, context) + "\" instead of \"" + real.substr(at, context) + "\"";
}

}  // namespace

std::vector<std::string> followerProblems(const DescribedDevices& service,
                                          const DescribedDevices& follower) {
    std::vector<std::string> problems;
    for (const auto& [id, description] : service) {
        const auto found = follower.find(id);
        if (found == follower.end()) {
            problems.push_back("a follower lacks " + id);
        } else if (found->second != description) {
            problems.push_back("a follower is shown of " + id + ": " +
                               firstDifference(description, found->second));
        }
    }
    for (const auto& [id, description] : follower) {
        if (!service.contains(id)) {
            problems.push_back("a follower is shown what is not there: " + id);
        }
    }
    return problems;
}

}  // namespace tarn::chaos
