#include "platform/socket/IpcPath.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace tarn::socket {

namespace {

class Descriptor {
  public:
    explicit Descriptor(int number) : number(number) {}
    ~Descriptor() { ::close(number); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return number; }

  private:
    const int number;
};

[[noreturn]] void fail(const std::string& action) {
    throw std::runtime_error(action + ": " + std::generic_category().message(errno));
}

/// errno of a connection attempt, 0 when it is accepted.
int knock(const std::string& path) {
    const Descriptor caller(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (caller.get() < 0) {
        fail("cannot make a socket");
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const auto* generic = static_cast<const sockaddr*>(static_cast<const void*>(&address));
    return ::connect(caller.get(), generic, sizeof(address)) == 0 ? 0 : errno;
}

}  // namespace

void checkIpcPathIsFree(const std::string& path) {
    struct stat file {};
    if (::lstat(path.c_str(), &file) != 0) {
        if (errno == ENOENT) {
            return;
        }
        fail("cannot look at the file");
    }
    if (!S_ISSOCK(file.st_mode)) {
        throw std::runtime_error("a file that is no socket is in the way");
    }
    switch (knock(path)) {
        case ECONNREFUSED:  // left behind
        case ENOENT:        // gone meanwhile
            return;
        case EACCES:
        case EPERM:
            throw std::runtime_error("the socket file belongs to somebody else");
        default:  // accepted, or would be: the queue is full, or it is of another socket type
            throw std::runtime_error("address already in use, somebody listens on it");
    }
}

}  // namespace tarn::socket
