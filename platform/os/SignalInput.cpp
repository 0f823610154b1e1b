#include "platform/os/SignalInput.h"

#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "platform/os/Readable.h"

namespace tarn::os {

namespace {

FileDescriptor openSignals(std::initializer_list<int> signals) {
    sigset_t taken;
    ::sigemptyset(&taken);
    for (const int signal : signals) {
        ::sigaddset(&taken, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &taken, nullptr);
    return checkedDescriptor(::signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd");
}

}  // namespace

SignalInput::SignalInput(std::initializer_list<int> signals) : input(openSignals(signals)) {}

bool SignalInput::waitFor(std::chrono::milliseconds bound) const {
    return becomesReadable(input.get(), Deadline(bound));
}

int SignalInput::take() {
    signalfd_siginfo signal{};
    return ::read(input.get(), &signal, sizeof signal) == sizeof signal
               ? static_cast<int>(signal.ssi_signo)
               : 0;
}

}  // namespace tarn::os
