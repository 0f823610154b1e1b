#include "platform/os/SignalsBlocked.h"

#include <initializer_list>

namespace tarn::os {

SignalsBlocked::SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
        sigdelset(&all, fault);
    }
    pthread_sigmask(SIG_BLOCK, &all, &before);
}

SignalsBlocked::~SignalsBlocked() {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace tarn::os
