#pragma once

#include <map>
#include <string>
#include <vector>

namespace tarn::chaos {

/// Each device under the root by its id, and everything that is known of it.
using DescribedDevices = std::map<std::string, std::string>;

/// What is wrong with the tree of one who follows the gateway, one line each: when nothing changes
/// any more, it is that of the service, to the last value.
std::vector<std::string> followerProblems(const DescribedDevices& service,
                                          const DescribedDevices& follower);

}  // namespace tarn::chaos
