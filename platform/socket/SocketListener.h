#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "platform/socket/SocketEndpoint.h"
#include "platform/socket/SocketTypes.h"
#include "platform/utils/MessageFormatter.h"

namespace google::protobuf {
class Message;
}

namespace tarn::socket {
class Socket;
}

namespace tarn::socket::utils {

/// A thread that receives messages on one socket bound to any number of endpoints.
///
/// start, stop, addListenEndpoint and removeListenEndpoint may be called from any thread, one at a
/// time inside the listener; admits, getBaseMessage and handleMessage are called on the listener's
/// thread only, one message after the other in arrival order. A message that is too large or does
/// not parse is dropped, and logged once a second at most; an exception of handleMessage is logged;
/// neither ends the thread. The thread has signals blocked, so that no handler runs on it.
///
/// A derived class stops the listener in its own destructor, before its part of the object is gone.
class SocketListener : public tarn::utils::IMessageFormatter {
  public:
    /// `protocol` is the role of the socket (Pull or Reply); `name` is the log header.
    SocketListener(Protocol protocol, std::string name);
    ~SocketListener() override;

    std::string messageHeader() const override;

    /// Stops and joins the thread, at once or after the message in progress.
    /// Endpoints stay registered. Stopping a stopped listener does nothing. `error` is cleared, and
    /// filled if joining failed.
    virtual void stop(std::string& error);

    /// Binds every registered endpoint and starts the thread; returns once all are bound. False,
    /// with `error` filled and nothing running, if one cannot be bound. Starting a started listener
    /// succeeds and changes nothing.
    virtual bool start(std::string& error);

    /// Registers `endpointText`; a running listener binds it before this returns. An endpoint that
    /// is registered already succeeds and changes nothing. False, with `error` filled and the
    /// endpoint not registered, when the text is bad or the endpoint cannot be bound.
    bool addListenEndpoint(const std::string& endpointText, std::string& error);

    /// Undoes it; a running listener unbinds the endpoint before this returns, which ends the
    /// connections that were made there. An endpoint that is not registered succeeds and changes
    /// nothing. False, with `error` filled and the endpoint still registered, when the text is bad
    /// or the listener is busy for too long.
    bool removeListenEndpoint(const std::string& endpointText, std::string& error);

    /// A new empty message for the next receive.
    virtual std::shared_ptr<google::protobuf::Message> getBaseMessage() = 0;

    /// Handles one message; on a Reply listener it may answer on `socket`.
    virtual void handleMessage(std::shared_ptr<google::protobuf::Message> message,
                               std::shared_ptr<Socket> socket) = 0;

  protected:
    /// Looks at a message of whatever size before it is read. False: it is dropped without a line,
    /// since whoever refuses it says so. On the listener's thread. Here: true.
    virtual bool admits(std::string_view bytes);

    /// The endpoints that start binds. Only while the listener is stopped.
    std::list<SocketEndpoint>& listenEndpoints();

    /// Larger messages are refused, in bytes. Default: 10 MiB.
    std::atomic<std::uint32_t> maxMessageSize;

  private:
    struct Implementation;
    std::unique_ptr<Implementation> impl;
};

}  // namespace tarn::socket::utils
