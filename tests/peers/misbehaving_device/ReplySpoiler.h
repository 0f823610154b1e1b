#pragma once

#include <limits>
#include <optional>

#include "proto/monitoring.pb.h"
#include "tests/peers/misbehaving_device/Misbehaviour.h"

namespace tarn::test {

/// Turns good replies into those that are wished for.
class ReplySpoiler {
  public:
    using Reply = tarn::proto::monitoring::DeviceToTarnServiceReply;

    explicit ReplySpoiler(const Misbehaviour& wish)
        : wish(wish), fitAfter(wish.fitAfter.value_or(std::numeric_limits<unsigned>::max())) {}

    /// Nothing: no reply. Does not come back from the request at which the device is to die.
    std::optional<Reply> spoil(Reply reply);

  private:
    void repeatIds(Reply& reply) const;

    const Misbehaviour& wish;
    const unsigned fitAfter;
    unsigned requests = 0;
};

}  // namespace tarn::test
