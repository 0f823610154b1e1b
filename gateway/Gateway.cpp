#include "gateway/Gateway.h"

#include <exception>
#include <stdexcept>

#include "gateway/DescriptorSet.h"
#include "gateway/SignalInput.h"
#include "platform/utils/Log.h"
#include "platform/utils/UuidGenerator.h"

namespace tarn::gateway {

using namespace std::chrono_literals;
using tarn::socket::CatchUpPublisher;
using tarn::socket::ClosePolicy;
using tarn::socket::Protocol;

namespace {

// Each may hold a whole tree, and a subscriber that does not read holds that many of them.
constexpr int longestQueue = 64;
constexpr std::uint32_t largestBatch = (64U << 20U) - 4096;  // what is added must still fit
constexpr auto betweenLines = 10s;
constexpr auto betweenReports = 60s;
constexpr auto longestWait = 1000ms;
constexpr int announcementsInARow = 100;  // so that batches are not held up by many newcomers

}  // namespace

Gateway::Gateway(const GatewayOptions& options)
    : MessageFormatter("Gateway"),
      relay(utils::UuidGenerator::Generate()),
      droppedLines(betweenLines),
      slowLines(betweenLines),
      nextReport(Clock::now() + betweenReports),
      events("events", ClosePolicy::Discard),
      publisher("subscribers", {.everybody = Relay::batchBeginning, .filler = Relay::filler},
                longestQueue) {
    // Who subscribes as soon as the service can be heard must not be too early.
    publisher.listen(options.publish);
    events.setQueueLength(longestQueue);
    events.createAndConnect(Protocol::Pull, options.events, 0);
    utils::logInfo(
        formatMessage("started: " + events.debugString() + ", " + publisher.debugString()));
}

void Gateway::run(SignalInput& signals) {
    const DescriptorSet otherInput{signals.descriptor(), publisher.descriptor()};
    auto request = SignalInput::Request::None;
    while (request != SignalInput::Request::Stop) {
        const bool more = takeAnnouncements() == Announcements::MoreWait;
        if (awaitBatch(otherInput.descriptor(), more ? 0ms : longestWait)) {
            handOn();
        }
        reportLosses(Clock::now());
        request = signals.take();
        if (request != SignalInput::Request::None) {
            report();
        }
    }
    utils::logInfo(formatMessage("ended"));
}

Gateway::Announcements Gateway::takeAnnouncements() {
    for (int i = 0; i < announcementsInARow; ++i) {
        const auto announcement = publisher.nextAnnouncement();
        if (announcement == CatchUpPublisher::Announcement::None) {
            return Announcements::AllTaken;
        }
        take(announcement);
    }
    return Announcements::MoreWait;
}

void Gateway::take(CatchUpPublisher::Announcement announcement) {
    switch (announcement) {
        case CatchUpPublisher::Announcement::None:
            return;
        case CatchUpPublisher::Announcement::Left:
            counters.subscribers -= counters.subscribers > 0 ? 1 : 0;
            return;
        case CatchUpPublisher::Announcement::Came:
            ++counters.subscribers;
            break;
        case CatchUpPublisher::Announcement::Unclear:
            break;
    }
    const auto first = relay.catchUp();
    publisher.admit(first.address, first.body);
    ++counters.catchUps;
}

bool Gateway::awaitBatch(int otherInput, std::chrono::milliseconds bound) {
    std::string error;
    const int result =
        events.pollWith(otherInput, static_cast<std::uint32_t>(bound.count()), error);
    if (!error.empty()) {
        throw std::runtime_error(error);
    }
    return result == 0;
}

void Gateway::handOn() {
    try {
        publish(events.receiveBytes(largestBatch));
    } catch (const std::runtime_error& reason) {
        noteDropped(reason.what());
    }
}

void Gateway::publish(const std::string& batch) {
    const auto head = relay.accept(batch);
    if (!head) {
        noteDropped(events.debugString() + ": a message of " + std::to_string(batch.size()) +
                    " bytes that is no batch of the service");
        return;
    }
    ++counters.batchesIn;
    counters.bytesIn += batch.size();
    if (publisher.publish(*head, batch) == CatchUpPublisher::Delivery::SomeLost) {
        noteTooSlow();
    }
    ++counters.batchesOut;
    counters.bytesOut += head->size() + batch.size();
}

void Gateway::noteDropped(const std::string& reason) {
    ++counters.dropped;
    if (const auto count = droppedLines.occurred(Clock::now())) {
        utils::logWarning(
            formatMessage("dropped " + std::to_string(*count) + ", the last one: " + reason));
    }
}

void Gateway::noteTooSlow() {
    ++counters.tooSlow;
    if (const auto count = slowLines.occurred(Clock::now())) {
        utils::logWarning(formatMessage("a subscriber is too slow and loses batches (" +
                                        std::to_string(*count) + " times)"));
    }
}

void Gateway::reportLosses(Clock::time_point now) {
    if (now < nextReport) {
        return;
    }
    nextReport = now + betweenReports;
    if (counters.losses() != reportedLosses) {
        reportedLosses = counters.losses();
        report();
    }
}

void Gateway::report() const {
    utils::logInfo(formatMessage(counters.text()));
}

}  // namespace tarn::gateway
