#include "platform/socket/zmq/Context.h"

#include <sys/resource.h>

#include <algorithm>

#include "platform/os/ConnectGuard.h"
#include "platform/socket/zmq/RefusedListeners.h"
#include "platform/socket/zmq/ZmqError.h"
#include "platform/utils/Synchronised.h"

namespace tarn::socket {

namespace {

// Each takes a descriptor, and the library keeps room for so many from the start: a fifth of a
// megabyte for the most that anybody here needs.
int mostSockets() {
    constexpr rlim_t mostNeeded = 16384;
    rlimit descriptors{};
    ::getrlimit(RLIMIT_NOFILE, &descriptors);
    return static_cast<int>(std::min(descriptors.rlim_cur, mostNeeded));
}

// Never destroyed: sockets in static objects may be opened and closed while the process exits.
tarn::utils::Synchronised<std::weak_ptr<Context>>& current() {
    static auto& instance = *new tarn::utils::Synchronised<std::weak_ptr<Context>>;
    return instance;
}

}  // namespace

std::shared_ptr<Context> Context::Get() {
    auto locked = current().lock();
    auto context = locked->lock();
    if (!context) {
        context = std::make_shared<Context>();
        *locked = context;
    }
    return context;
}

void Context::Shutdown() {
    std::shared_ptr<Context> ended;
    {
        auto locked = current().lock();
        ended = locked->lock();
        locked->reset();
    }
    if (ended) {
        ended->library().shutdown();
    }
}

Context::Context()
    : context(callZmq("cannot make a messaging context", [] { return zmq::context_t(); })) {
    context.set(zmq::ctxopt::max_sockets, mostSockets());
    context.set(zmq::ctxopt::blocky, 0);  // what is not told to linger does not
    context.set(zmq::ctxopt::ipv6, 1);
    os::ConnectGuard::Install(logRefusedListener);
}

}  // namespace tarn::socket
