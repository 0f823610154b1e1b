#pragma once

#include <chrono>
#include <cstdint>

#include "platform/socket/Socket.h"
#include "proto/monitoring.fwd.h"
#include "tests/peers/misbehaving_device/Misbehaviour.h"

namespace tarn::test {

/// Events that no device should send. What is not taken is lost.
class EventNoise {
  public:
    using Time = std::chrono::steady_clock::time_point;

    /// Throws std::runtime_error when the endpoint is none.
    EventNoise(const Misbehaviour& wish, Time start);

    /// Sends what is due.
    void sendUntil(Time now);

    /// How long until more is due.
    std::chrono::milliseconds period() const;

  private:
    void sendOnce();
    void sendExcess();
    void flood(Time now);
    void send(const tarn::proto::monitoring::DeviceToTarnServiceEvent& event);

    const Misbehaviour& wish;
    const Time start;
    Time next;
    std::uint64_t flooded = 0;
    tarn::socket::Socket socket{"Event noise", tarn::socket::ClosePolicy::Discard};
};

}  // namespace tarn::test
