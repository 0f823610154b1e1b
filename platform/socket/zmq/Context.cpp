#include "platform/socket/zmq/Context.h"

#include <zmq.h>

#include <cerrno>

#include "platform/socket/zmq/ZmqError.h"
#include "platform/utils/Synchronised.h"

namespace tarn::socket {

namespace {

// Far more than the files a process may have open; what libzmq offers at most costs a megabyte.
constexpr int mostSockets = 16384;

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
        zmq_ctx_shutdown(ended->handle());
    }
}

Context::Context() : context(zmq_ctx_new()) {
    if (context == nullptr) {
        throwZmqError("cannot make a messaging context", errno);
    }
    zmq_ctx_set(context, ZMQ_MAX_SOCKETS, mostSockets);
    zmq_ctx_set(context, ZMQ_BLOCKY, 0);  // what is not told to linger does not
    zmq_ctx_set(context, ZMQ_IPV6, 1);
}

Context::~Context() {
    while (zmq_ctx_term(context) != 0 && errno == EINTR) {
    }
}

}  // namespace tarn::socket
