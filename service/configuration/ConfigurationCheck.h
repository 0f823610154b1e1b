#pragma once

#include <string>
#include <vector>

#include "service/configuration/check/ConfigurationProblem.h"

namespace tarn::service::configuration {

/// Everything that is wrong with a configuration file, for an operator: what stops the service from
/// reading it first, then in file order what the service would find only later (endpoints that do
/// not parse, files that are not there, ranges that run downwards, elements that it ignores).
/// Empty: the service takes the file as it is meant.
///
/// Loads nothing, creates nothing, starts nothing; never throws for a bad file. A file with more
/// than a hundred of the later kind gets no further ones.
std::vector<ConfigurationProblem> checkConfigurationFile(const std::string& path);

}  // namespace tarn::service::configuration
