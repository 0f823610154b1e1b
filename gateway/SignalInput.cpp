#include "gateway/SignalInput.h"

#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarn::gateway {

namespace {

int openDescriptor() {
    sigset_t taken;
    ::sigemptyset(&taken);
    for (const int signal : {SIGINT, SIGTERM, SIGUSR1}) {
        ::sigaddset(&taken, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &taken, nullptr);
    const int number = ::signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK);
    if (number < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return number;
}

}  // namespace

SignalInput::SignalInput() : number(openDescriptor()) {}

SignalInput::~SignalInput() {
    ::close(number);
}

SignalInput::Request SignalInput::take() {
    signalfd_siginfo signal{};
    if (::read(number, &signal, sizeof signal) != sizeof signal) {
        return Request::None;
    }
    return signal.ssi_signo == SIGUSR1 ? Request::Report : Request::Stop;
}

}  // namespace tarn::gateway
