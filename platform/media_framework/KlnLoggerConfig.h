#pragma once

#include <optional>
#include <string>

namespace tarn::media_framework {

/// The name in "<Config><Logger>NAME</Logger></Config>", without blanks around it; nothing when the
/// text is not of that form or the name is empty.
std::optional<std::string> loggerNameIn(const std::string& xmlConfig);

}  // namespace tarn::media_framework
