#pragma once

#include <string>
#include <vector>

#include "service/configuration/ConfigurationSettings.h"

namespace tarn::service::configuration {

/// The settings as the lines that the service logs when it starts.
std::vector<std::string> configurationReport(const ConfigurationSettings& settings);

}  // namespace tarn::service::configuration
