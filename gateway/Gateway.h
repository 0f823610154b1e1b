#pragma once

#include <chrono>
#include <string>

#include "gateway/GatewayCounters.h"
#include "gateway/GatewayOptions.h"
#include "gateway/Relay.h"
#include "platform/socket/CatchUpPublisher.h"
#include "platform/socket/Socket.h"
#include "platform/utils/MessageFormatter.h"
#include "platform/utils/Throttle.h"

namespace tarn::gateway {

class SignalInput;

/// Receives the service's batches and publishes them; a newcomer is first sent the last tree. One
/// thread, which waits for nothing but input: a subscriber that does not read loses batches, and
/// nobody else notices.
class Gateway : public utils::MessageFormatter {
  public:
    /// Binds both endpoints; throws std::runtime_error when one is in use.
    explicit Gateway(const GatewayOptions& options);

    /// Until a signal asks for the end.
    void run(SignalInput& signals);

  private:
    using Clock = std::chrono::steady_clock;
    enum class Announcements { AllTaken, MoreWait };

    Announcements takeAnnouncements();
    void take(tarn::socket::CatchUpPublisher::Announcement announcement);
    bool awaitBatch(int otherInput, std::chrono::milliseconds bound);
    void handOn();
    void publish(const std::string& batch);
    void noteDropped(const std::string& reason);
    void noteTooSlow();
    void reportLosses(Clock::time_point now);
    void report() const;

    Relay relay;
    GatewayCounters counters;
    utils::Throttle droppedLines;
    utils::Throttle slowLines;
    Clock::time_point nextReport;
    std::uint64_t reportedLosses = 0;
    tarn::socket::Socket events;
    tarn::socket::CatchUpPublisher publisher;
};

}  // namespace tarn::gateway
