#pragma once

#include <cstdint>

#include "cli/client/Session.h"

namespace tarn::cli {

enum class TicketWait { No, UntilTheEnd };

/// Says what has become of an operation: once, or when it has ended. Failed when the operation has
/// failed; Interrupted when Ctrl-C ended the waiting, which leaves the operation alone.
ExitStatus reportTicket(std::int64_t ticket, TicketWait wait, const Session& session);

}  // namespace tarn::cli
