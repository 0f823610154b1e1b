#pragma once

#include <memory>
#include <stop_token>
#include <thread>

#include "platform/resource_manager/server/RequestDispatcher.h"
#include "platform/socket/Socket.h"
#include "platform/utils/MessageFormatter.h"
#include "platform/utils/RepeatedFailure.h"

namespace tarn::resource_manager {

/// The thread that answers proxies on a bound socket, one request after the other. The destructor
/// stops and joins it, within 100 ms after the request in progress, and closes the socket.
class RequestThread : private tarn::utils::MessageFormatter {
  public:
    RequestThread(std::unique_ptr<tarn::socket::Socket> socket, std::shared_ptr<Registry> registry);

  private:
    void run(const std::stop_token& stop);
    void waitAndServe(const std::stop_token& stop);
    void serveOneRequest();

    const std::unique_ptr<tarn::socket::Socket> socket;  // used by the thread alone
    const std::shared_ptr<Registry> registry;
    RequestDispatcher dispatcher;
    tarn::utils::RepeatedFailure notServed{tarn::utils::LogLevel::Warning};
    tarn::utils::RepeatedFailure notWaited{tarn::utils::LogLevel::Error};
    std::jthread thread;  // last: it uses the others
};

}  // namespace tarn::resource_manager
