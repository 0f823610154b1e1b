#include "tests/platform/resource_manager/Pipe.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarn::resource_manager::test {

namespace {

constexpr int boundMs = 20000;

}  // namespace

Pipe::Pipe() {
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
}

Pipe::~Pipe() {
    ::close(ends[0]);
    ::close(ends[1]);
}

bool Pipe::signal() const {
    return ::write(ends[1], "", 1) == 1;
}

bool Pipe::wait() const {
    pollfd readable{ends[0], POLLIN, 0};
    char signalled;
    return ::poll(&readable, 1, boundMs) == 1 && ::read(ends[0], &signalled, 1) == 1;
}

}  // namespace tarn::resource_manager::test
