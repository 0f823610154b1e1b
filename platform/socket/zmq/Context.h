#pragma once

#include <memory>
#include <zmq.hpp>

#include "platform/socket/zmq/InProcessNames.h"

namespace tarn::socket {

/// The process's messaging context. It lives exactly as long as somebody holds it, which every open
/// socket does: so no order of static destruction can end it under a socket, and ending it waits
/// for nothing but messages that are being flushed (one second at most).
class Context {
  public:
    /// The context in use, or a new one. Any thread.
    static std::shared_ptr<Context> Get();

    /// Ends all waiting on the sockets that are open now, which from here on throw
    /// ZmqContextTerminationException. Sockets opened later have a new context. Any thread.
    static void Shutdown();

    Context();
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    zmq::context_t& library() { return context; }
    InProcessNames& inProcessNames() { return names; }

  private:
    zmq::context_t context;
    InProcessNames names;
};

}  // namespace tarn::socket
