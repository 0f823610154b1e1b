#include "platform/utils/log/ImmediateOutput.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

namespace tarn::utils {

namespace {

constexpr long noRoom = -1;
constexpr long nobodyReads = -2;

// With flags of its own, unlike a duplicate. Somebody else's pipe or terminal cannot be opened.
os::FileDescriptor openAgain(int descriptor) {
    const auto path = "/proc/self/fd/" + std::to_string(descriptor);
    return os::FileDescriptor(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

long resultOf(ssize_t written) {
    if (written >= 0) {
        return written;
    }
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? noRoom : nobodyReads;
}

bool hasRoom(int descriptor) {
    pollfd output{descriptor, POLLOUT, 0};
    return ::poll(&output, 1, 0) > 0;
}

}  // namespace

ImmediateOutput::ImmediateOutput(int descriptor) : given(descriptor) {
    struct stat file {};
    if (::fstat(given, &file) != 0) {
        return;
    }
    if (S_ISSOCK(file.st_mode)) {
        kind = Kind::Socket;
    } else if (S_ISFIFO(file.st_mode) || S_ISCHR(file.st_mode)) {
        reopened = openAgain(given);
        kind = reopened.isOpen() ? Kind::NeverWaits : Kind::MayWait;
    }
}

std::size_t ImmediateOutput::put(std::string_view text) const {
    std::size_t done = 0;
    while (done < text.size()) {
        const long written = putOnce(text.substr(done));
        if (written == nobodyReads) {
            return text.size();
        }
        if (written == noRoom) {
            return done;
        }
        done += static_cast<std::size_t>(written);
    }
    return done;
}

long ImmediateOutput::putOnce(std::string_view text) const {
    switch (kind) {
        case Kind::Socket:
            return resultOf(::send(given, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL));
        case Kind::MayWait:
            // A pipe that has room at all has room for this much.
            return hasRoom(given) ? resultOf(::write(given, text.data(),
                                                     std::min<std::size_t>(text.size(), PIPE_BUF)))
                                  : noRoom;
        case Kind::NeverWaits:
            break;
    }
    return resultOf(::write(descriptor(), text.data(), text.size()));
}

}  // namespace tarn::utils
