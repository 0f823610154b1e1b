#include "platform/socket/zmq/Context.h"

#include "platform/socket/zmq/ZmqError.h"
#include "platform/utils/Synchronised.h"

namespace tarn::socket {

namespace {

// Far more than the files a process may have open; what libzmq offers at most costs a megabyte.
constexpr int mostSockets = 16384;

// Never destroyed: sockets in static objects may be opened and closed while the process exits.
utils::Synchronised<std::weak_ptr<Context>>& current() {
    static auto& instance = *new utils::Synchronised<std::weak_ptr<Context>>;
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
    context.set(zmq::ctxopt::max_sockets, mostSockets);
    context.set(zmq::ctxopt::blocky, 0);  // what is not told to linger does not
    context.set(zmq::ctxopt::ipv6, 1);
}

}  // namespace tarn::socket
