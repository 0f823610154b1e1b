#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/os/FileDescriptor.h"

namespace tarn::chaos {

/// Connections to an endpoint that never say anything; they end with the object.
class IdleConnections {
  public:
    /// As many as are let in, but not more than `most`: to one who has stopped accepting, fewer.
    /// Throws std::runtime_error for an endpoint text that is none.
    IdleConnections(const std::string& endpoint, std::size_t most);

    std::size_t size() const { return connections.size(); }

  private:
    std::vector<os::FileDescriptor> connections;
};

}  // namespace tarn::chaos
