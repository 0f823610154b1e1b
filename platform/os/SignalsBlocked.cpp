#include "platform/os/SignalsBlocked.h"

namespace tarn::os {

SignalsBlocked::SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
        sigdelset(&all, fault);
    }
    pthread_sigmask(SIG_BLOCK, &all, &before);
}

SignalsBlocked::SignalsBlocked(std::initializer_list<int> signals) {
    sigset_t some;
    sigemptyset(&some);
    for (const int signal : signals) {
        sigaddset(&some, signal);
    }
    pthread_sigmask(SIG_BLOCK, &some, &before);
}

SignalsBlocked::~SignalsBlocked() {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace tarn::os
