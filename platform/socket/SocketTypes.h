#pragma once

#include <cstdint>
#include <stdexcept>

namespace tarn::socket {

/// What a socket does. The values are used by number all over the system.
enum class Protocol : std::uint32_t {
    None = 0,       ///< no socket: only for rendering an endpoint's text
    Push = 1,       ///< sending end of a one-way channel; connects
    Pull = 2,       ///< receiving end of a one-way channel; binds
    Reply = 3,      ///< answering side; binds
    Request = 4,    ///< asking side; connects
    Publish = 5,    ///< to any number of subscribers; binds
    Subscribe = 6,  ///< receives what is published, or one topic of it; connects
};

/// What happens on closing to messages that were not sent yet.
enum class ClosePolicy : std::uint32_t {
    Discard = 0,  ///< dropped
    Flush = 1,    ///< let out for up to one second
};

enum class Transport : std::uint32_t { Ipc = 0, InProcess = 1, Tcp = 2 };

/// Thrown by operations that wait while the messaging context is being terminated.
class ZmqContextTerminationException : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace tarn::socket
