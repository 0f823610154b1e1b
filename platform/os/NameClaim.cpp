#include "platform/os/NameClaim.h"

#include <sys/socket.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace tarn::os {

// A socket whose address begins with a zero byte: the kernel keeps such names apart from files.
std::optional<NameClaim> NameClaim::TryTake(std::string_view name) {
    if (name.size() > longestName) {
        throw std::invalid_argument("the name of a claim has at most " +
                                    std::to_string(longestName) + " bytes");
    }
    auto holder = checkedDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    name.copy(address.sun_path + 1, longestName);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    const void* const generic = &address;
    if (::bind(holder.get(), static_cast<const sockaddr*>(generic), size) == 0) {
        return NameClaim(std::move(holder));
    }
    if (errno != EADDRINUSE) {
        throw std::system_error(errno, std::generic_category(), "cannot claim a name");
    }
    return std::nullopt;
}

}  // namespace tarn::os
