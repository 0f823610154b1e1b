#pragma once

#include <atomic>
#include <memory>
#include <thread>

#include "platform/os/WakeUp.h"
#include "platform/socket/RequestServer.h"

namespace tarn::socket {

/// A RequestServer on a thread of its own, which sleeps until a request comes. The destructor ends
/// it, at once or after the request in progress, joins it, and closes the socket. The thread has
/// signals blocked, so that no handler runs on it.
class RequestThread {
  public:
    /// Throws std::system_error when there can be no further thread or descriptor.
    RequestThread(std::unique_ptr<Socket> socket, RequestServer::Serve serve,
                  RequestServer::LogTexts texts);
    ~RequestThread();
    RequestThread(const RequestThread&) = delete;
    RequestThread& operator=(const RequestThread&) = delete;

  private:
    void run();

    const std::unique_ptr<Socket> socket;
    RequestServer server;
    std::atomic<bool> mustStop = false;
    os::WakeUp stop;
    std::thread thread;  // last: it uses the others
};

}  // namespace tarn::socket
