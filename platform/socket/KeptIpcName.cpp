#include "platform/socket/KeptIpcName.h"

#include <sys/stat.h>
#include <unistd.h>

namespace tarn::socket {

KeptIpcName::KeptIpcName(const SocketEndpoint& endpoint) {
    constexpr std::string_view scheme = "ipc://";
    if (endpoint.transport() != Transport::Ipc) {
        return;
    }
    auto file = endpoint.toString(Protocol::None).substr(scheme.size());
    if (::mkfifo(file.c_str(), S_IRUSR | S_IWUSR) == 0) {
        path = std::move(file);
    }
}

KeptIpcName::~KeptIpcName() {
    struct stat file {};
    if (!path.empty() && ::lstat(path.c_str(), &file) == 0 && S_ISFIFO(file.st_mode)) {
        ::unlink(path.c_str());
    }
}

}  // namespace tarn::socket
