#include "platform/resource_manager/registry/StaleSockets.h"

#include <unistd.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/resource_manager/RunningJob.h"
#include "platform/socket/IpcPathClaim.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::resource_manager {

namespace {

std::optional<std::string> pathOf(const std::string& endpoint) {
    constexpr std::string_view scheme = "ipc://";
    try {
        const auto parsed = socket::SocketEndpoint::FromString(endpoint);
        if (parsed.transport() == socket::Transport::Ipc) {
            return parsed.toString(socket::Protocol::None).substr(scheme.size());
        }
    } catch (const std::invalid_argument&) {
        // A job may have registered any text.
    }
    return std::nullopt;
}

}  // namespace

void removeLeftSockets(const RunningJob& job) {
    for (const auto& endpoint : job.getValuesOf("Endpoint")) {
        const auto path = pathOf(endpoint);
        if (!path) {
            continue;
        }
        try {
            const socket::IpcPathClaim nobodyListens(*path);
            ::unlink(path->c_str());
        } catch (const std::runtime_error&) {
            // Somebody else's by now.
        }
    }
}

}  // namespace tarn::resource_manager
