#pragma once

#include <functional>

#include "cli/ExitStatus.h"

namespace tarn::cli {

class Output;
class ServiceClient;

enum class Format : int { Text, Json };

/// What a command works with. The members outlive it.
struct Session {
    ServiceClient& service;
    Output& output;
    Format format;
};

/// A command with its options. Throws CommandError.
using Action = std::function<ExitStatus(const Session&)>;

}  // namespace tarn::cli
