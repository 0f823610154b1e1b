#pragma once

#include <list>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "platform/socket/Socket.h"

namespace tarn::peers {

/// Holds endpoints that were given to an engine, so that nobody else can take them. What arrives is
/// received and dropped, on a thread of its own, so that no sender runs full.
class ReservedEndpoints {
  public:
    /// Binds all of them; throws std::runtime_error, std::invalid_argument for a bad text.
    ReservedEndpoints(const std::vector<std::string>& pullEndpoints,
                      const std::vector<std::string>& publishEndpoints);

  private:
    void drop(const std::stop_token& token);

    tarn::socket::Socket pull;
    tarn::socket::Socket publish;
    std::jthread thread;  // last: ends before what it uses
};

}  // namespace tarn::peers
