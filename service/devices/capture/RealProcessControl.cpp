#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/os/FileDescriptor.h"
#include "platform/os/WakeUp.h"
#include "platform/socket/NobodyListens.h"
#include "service/devices/Pause.h"
#include "service/devices/capture/ProcessControl.h"

namespace tarn::service::devices {

namespace {

constexpr std::chrono::milliseconds knockWithin{100};

// What it refers to stays the same process, whoever gets the id later.
os::FileDescriptor openProcess(pid_t id) {
    return os::FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, id, 0)));
}

}  // namespace

ProcessControl::ProcessIdentity RealProcessControl::identify(pid_t id) {
    return os::ProcessIdentity::of(id);
}

ProcessControl::State RealProcessControl::stateOf(const os::ProcessIdentity& process) {
    const auto now = os::ProcessIdentity::of(process.id);
    if (now.startTime == 0) {
        return State::Gone;
    }
    if (now.startTime != process.startTime) {
        return State::Another;
    }
    return os::isAlive(process) ? State::Running : State::Unreaped;
}

bool RealProcessControl::isListenedTo(const socket::SocketEndpoint& endpoint) {
    return !socket::whyNobodyListens(endpoint, knockWithin);
}

bool RealProcessControl::kill(const os::ProcessIdentity& process) {
    const auto handle = openProcess(process.id);
    return handle.isOpen() && stateOf(process) == State::Running &&
           ::syscall(SYS_pidfd_send_signal, handle.get(), SIGKILL, nullptr, 0) == 0;
}

void RealProcessControl::awaitEnd(const os::ProcessIdentity& process,
                                  std::chrono::milliseconds duration, const std::stop_token& stop) {
    const auto handle = openProcess(process.id);
    if (!handle.isOpen()) {
        return errno == ESRCH ? void() : realPause(duration, stop);
    }
    os::WakeUp interruption;
    const std::stop_callback interrupting(stop, [&] { interruption.ring(); });
    std::array<pollfd, 2> waited = {pollfd{handle.get(), POLLIN, 0},
                                    pollfd{interruption.descriptor(), POLLIN, 0}};
    ::poll(waited.data(), waited.size(), static_cast<int>(duration.count()));
}

}  // namespace tarn::service::devices
