#include "platform/os/StopSignals.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace tarn::os {

namespace {

FileDescriptor takeStopSignals() {
    sigset_t stopSignals;
    ::sigemptyset(&stopSignals);
    ::sigaddset(&stopSignals, SIGTERM);
    ::sigaddset(&stopSignals, SIGINT);
    ::pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    return checkedDescriptor(::signalfd(-1, &stopSignals, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd");
}

}  // namespace

StopSignals::StopSignals() : signals(takeStopSignals()) {}

bool StopSignals::isRaised() const {
    pollfd raised{.fd = signals.get(), .events = POLLIN, .revents = 0};
    return ::poll(&raised, 1, 0) == 1;
}

bool StopSignals::take() {
    bool any = false;
    signalfd_siginfo signal{};
    while (::read(signals.get(), &signal, sizeof signal) == sizeof signal) {
        any = true;
    }
    return any;
}

}  // namespace tarn::os
