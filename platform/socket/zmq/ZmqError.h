#pragma once

#include <string>

namespace tarn::socket {

/// Throws for a messaging call that failed with `code` (an errno value):
/// ZmqContextTerminationException while the context is being terminated, otherwise
/// std::runtime_error; "<action>: <reason>".
[[noreturn]] void throwZmqError(const std::string& action, int code);

}  // namespace tarn::socket
