#include "cli/Interrupt.h"

namespace tarn::cli {

namespace {

volatile sig_atomic_t caught = 0;

void remember(int) {
    caught = 1;
}

}  // namespace

Interrupt::Interrupt() {
    caught = 0;
    struct sigaction action {};
    action.sa_handler = remember;  // no SA_RESTART: waiting ends at once
    ::sigaction(SIGINT, &action, &previous);
}

Interrupt::~Interrupt() {
    ::sigaction(SIGINT, &previous, nullptr);
}

bool Interrupt::requested() const {
    return caught != 0;
}

}  // namespace tarn::cli
