#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "gateway/GatewayOptions.h"
#include "gateway/relay/AdmissionPace.h"
#include "gateway/relay/GatewayCounters.h"
#include "gateway/relay/Relay.h"
#include "gateway/relay/TreeQuestion.h"
#include "gateway/relay/UpdatePace.h"
#include "platform/socket/CatchUpPublisher.h"
#include "platform/socket/Socket.h"
#include "platform/utils/MessageFormatter.h"
#include "platform/utils/Throttle.h"

namespace tarn::os {
class SignalInput;
}

namespace tarn::gateway {

/// Receives the service's batches and publishes them, as they are and as what has changed by them
/// (TreeUpdates); newcomers are first sent the last tree. Where
/// that may be outdated the service is asked for its tree. One thread, which waits for nothing but
/// input: a subscriber that does not read loses batches, and nobody else notices.
class Gateway : public utils::MessageFormatter {
  public:
    /// Binds both endpoints; throws std::runtime_error when one is in use.
    explicit Gateway(const GatewayOptions& options);

    /// Until a signal asks for the end; at SIGUSR1 it only logs its figures, as it does then.
    void run(os::SignalInput& signals);

  private:
    using Clock = std::chrono::steady_clock;
    using FirstMessages = std::array<std::optional<Relay::CatchUp>, 2>;  // by wire

    std::chrono::milliseconds letIn();
    std::chrono::milliseconds untilNextReport(Clock::time_point now) const;
    void takeAnnouncements();
    void admit(FirstMessages& first);
    void welcome(const FirstMessages& first);
    bool isNewcomer(tarn::socket::CatchUpPublisher::Announcement announcement);
    bool awaitBatch(int otherInput, std::chrono::milliseconds bound);
    void handOn();
    void publish(const std::string& batch);
    void publish(std::string_view head, std::string_view batch);
    void publishUpdate();
    std::optional<std::chrono::milliseconds> publishDueUpdate();
    void publishOn(std::size_t wire, std::string_view head, std::string_view body);
    void askWhenInDoubt();
    void takeAnswer();
    void noteDropped(const std::string& reason);
    void noteTooSlow();
    void noteUnanswered(const std::string& reason);
    void reportLosses(Clock::time_point now);
    void report() const;

    Relay relay;
    GatewayCounters counters;
    utils::Throttle droppedLines;
    utils::Throttle slowLines;
    utils::Throttle unansweredLines;
    AdmissionPace pace;
    UpdatePace updatePace;
    Clock::time_point nextReport;
    std::uint64_t reportedLosses = 0;
    tarn::socket::Socket events;
    tarn::socket::CatchUpPublisher publisher;
    std::uint64_t askedInDoubt = 0;
    TreeQuestion question;
};

}  // namespace tarn::gateway
