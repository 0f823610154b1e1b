#pragma once

#include <array>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "peers/loop_storage/server/ClientStream.h"
#include "platform/tls/PeerCheck.h"

namespace tarn::peers::loop_storage {

/// A client that shows who it is. All of it runs on the one thread of a context, which is not that
/// of its socket.
///
///   Shaking -> Done               it is known: its stream may be taken
///   Shaking -> Telling -> Closed  it is not, and has been told so
///   any -> Closed                 its time is over, or its place is for another one
class Handshake : public std::enable_shared_from_this<Handshake> {
  public:
    using Refused = std::function<void(const std::string& reason)>;
    using Ended = std::function<void(Handshake& self)>;

    Handshake(ClientStream::Socket socket, boost::asio::ssl::context& tls,
              tls::PeerCheck::Admits admits, boost::asio::io_context& thread);
    Handshake(const Handshake&) = delete;
    Handshake& operator=(const Handshake&) = delete;

    /// `refused` tells why, once, of one that is not known; `ended` is called once, when it is Done
    /// or Closed.
    void start(std::chrono::milliseconds longest, Refused refused, Ended ended);
    void close();

    enum class State { Shaking, Done, Telling, Closed };
    State current() const { return state; }
    /// Once it is Done.
    ClientStream takeStream();
    const std::string& fingerprint() const { return check.fingerprint(); }
    const std::string& peer() const { return peerName; }
    const std::string& network() const { return peerNetwork; }

  private:
    void shaken(const boost::system::error_code& error);
    void refuse(const boost::system::error_code& error);
    void sayThatThisIsTls();
    void sayNoMore();
    void drain();
    void end(State last);

    boost::asio::io_context& thread;
    // Who runs the socket's context waits for its handlers, which belong to the thread's.
    const boost::asio::executor_work_guard<ClientStream::executor_type> served;
    tls::PeerCheck check;
    std::unique_ptr<ClientStream::Encrypted> stream;
    const std::string peerName;
    const std::string peerNetwork;
    boost::asio::steady_timer patience;
    Refused refused;
    Ended ended;
    State state = State::Shaking;
    std::array<char, 1024> ignored{};
};

}  // namespace tarn::peers::loop_storage
