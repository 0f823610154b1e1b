#include "peers/job_runtime/StopRequest.h"

#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>

namespace tarn::peers {

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

StopRequest::StopRequest()
    : signals(takeStopSignals()),
      wishes(checkedDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {}

void StopRequest::request(Wish wish) {
    {
        auto strongest = current.lock();
        *strongest = std::max(*strongest, wish);
    }
    ::eventfd_write(wishes.get(), 1);
}

StopRequest::Wish StopRequest::wish() {
    return *current.lock();
}

StopRequest::Wish StopRequest::take() {
    eventfd_t count = 0;
    ::eventfd_read(wishes.get(), &count);
    signalfd_siginfo signal{};
    while (::read(signals.get(), &signal, sizeof signal) == sizeof signal) {
        request(Wish::EndNow);
    }
    return wish();
}

}  // namespace tarn::peers
