#pragma once

#include <string>
#include <vector>

namespace tarn::chaos {

/// The socket files and TCP ports on which more than one socket listens.
std::vector<std::string> sharedSockets();

}  // namespace tarn::chaos
