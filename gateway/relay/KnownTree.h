#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace tarn::gateway {

/// The sub-devices of one node that has been looked over, to recognise them when they come again.
/// The bytes must outlive this.
class KnownTree {
  public:
    /// A node's message; empty where nothing is known.
    explicit KnownTree(std::string_view node);

    /// Whether this is the message of a sub-device that is known. To be asked for each of a node's
    /// sub-devices in turn: one that has moved far from its place is not recognised.
    bool recognises(std::string_view subDevice);

    /// After one was not recognised: what probably was in its place. Empty where there was none.
    std::string_view replaced() const;

  private:
    std::vector<std::string_view> subDevices;
    std::size_t next = 0;
};

}  // namespace tarn::gateway
