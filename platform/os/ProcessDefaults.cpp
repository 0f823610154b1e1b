#include "platform/os/ProcessDefaults.h"

#include <signal.h>

#include <optional>

namespace tarn::os {

namespace {

std::optional<rlim_t> inherited;

rlimit currentLimit() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);  // cannot fail for this process
    return limit;
}

}  // namespace

void ignoreBrokenPipes() {
    ::signal(SIGPIPE, SIG_IGN);
}

void raiseDescriptorLimit() {
    auto limit = currentLimit();
    if (!inherited) {
        inherited = limit.rlim_cur;
    }
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

rlim_t inheritedDescriptorLimit() {
    return inherited ? *inherited : currentLimit().rlim_cur;
}

}  // namespace tarn::os
