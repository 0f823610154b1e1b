#include "platform/socket/KeptIpcName.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <set>

#include "platform/utils/Synchronised.h"

namespace tarn::socket {

namespace {

using Names = tarn::utils::Synchronised<std::set<std::string>>;

// Never destroyed: sockets in static objects are closed while the process exits.
Names& keptForGood() {
    static auto& names = *new Names();
    return names;
}

// Whatever the mask.
bool makePipe(const std::string& path, mode_t mode) {
    return ::mkfifo(path.c_str(), 0) == 0 && ::chmod(path.c_str(), mode) == 0;
}

}  // namespace

KeptIpcName::KeptIpcName(const SocketEndpoint& endpoint) {
    constexpr std::string_view scheme = "ipc://";
    if (endpoint.transport() != Transport::Ipc) {
        return;
    }
    auto file = endpoint.toString(Protocol::None).substr(scheme.size());
    if (makePipe(file, 0)) {
        path = std::move(file);
    }
}

KeptIpcName::~KeptIpcName() {
    struct stat file {};
    if (!path.empty() && ::lstat(path.c_str(), &file) == 0 && S_ISFIFO(file.st_mode)) {
        ::unlink(path.c_str());
    }
}

void NamesKeptForGood::Note(const std::string& path) {
    keptForGood().lock()->insert(path);
}

bool NamesKeptForGood::PutBack(const std::string& path) {
    const auto beside = path + ".kept-" + std::to_string(::getpid());
    if (!keptForGood().lock()->contains(path) || !makePipe(beside, S_IRUSR | S_IWUSR)) {
        return false;
    }
    if (::rename(beside.c_str(), path.c_str()) == 0) {
        return true;
    }
    ::unlink(beside.c_str());
    return false;
}

}  // namespace tarn::socket
