#pragma once

#include <string>
#include <vector>

namespace tarn::peers {

/// Of this process's environment what a pipeline may know, "NAME=value" each: what the media
/// library, its plug-ins and the C library look at. Tokens and addresses that somebody left there
/// for the service are none of its business.
std::vector<std::string> pipelineEnvironment();

}  // namespace tarn::peers
