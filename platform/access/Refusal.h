#pragma once

#include <string>
#include <string_view>

#include "platform/access/Level.h"

namespace tarn::access {

/// What is said to who may not do something: "Access denied: this needs the level operate, and user
/// 1001 has read".
std::string textOfRefusal(Level needed, std::string_view who, Level has);

}  // namespace tarn::access
