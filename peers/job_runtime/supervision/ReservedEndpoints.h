#pragma once

#include <memory>
#include <string>
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
    ~ReservedEndpoints();

  private:
    class Drain;

    std::unique_ptr<Drain> pull;
    tarn::socket::Socket publish;
};

}  // namespace tarn::peers
