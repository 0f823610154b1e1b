#include "gateway/Gateway.h"

#include <signal.h>

#include <algorithm>
#include <exception>
#include <optional>
#include <stdexcept>
#include <vector>

#include "gateway/relay/MonitoringAnswer.h"
#include "gateway/relay/TreeUpdates.h"
#include "platform/os/DescriptorSet.h"
#include "platform/os/SignalInput.h"
#include "platform/socket/Limits.h"
#include "platform/tree_updates/UpdateTopic.h"
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
// Of several batches; what one batch needs goes out all the same.
constexpr std::size_t largestUpdate = std::size_t{8} << 20;
constexpr auto betweenUpdates = 50ms;  // each is as much work as there are followers
constexpr auto betweenLines = 10s;
constexpr auto betweenReports = 60s;
constexpr int announcementsInARow = 100;  // so that batches are not held up by many newcomers
// Each of them may wait unread for as long as somebody does not read it.
constexpr std::size_t firstMessagesPerSecond = std::size_t{32} << 20;

// By their numbers: who subscribes to whatever gets batches, who subscribes to the topic of
// differences gets updates.
constexpr std::size_t ofBatches = 0;
constexpr std::size_t ofUpdates = 1;

std::vector<CatchUpPublisher::Wire> wires() {
    return {{.everybody = Relay::batchBeginning, .filler = Relay::filler},
            {.everybody = TreeUpdates::beginning(),
             .filler = TreeUpdates::filler(),
             .topic = tree_updates::updateTopic()}};
}

// What a follower says is a greeting and a topic or two. The library looks at all topics that have
// come before it lets go of the thread again, and keeps them at many times their size.
constexpr socket::Limits ofFollowers{.bytesPerSecond = 512U << 10, .bytesAtOnce = 4U << 20};

}  // namespace

Gateway::Gateway(const GatewayOptions& options)
    : MessageFormatter("Gateway"),
      relay(utils::UuidGenerator::Generate()),
      droppedLines(betweenLines),
      slowLines(betweenLines),
      unansweredLines(betweenLines),
      pace(firstMessagesPerSecond),
      updatePace(betweenUpdates),
      nextReport(Clock::now() + betweenReports),
      events("events", ClosePolicy::Discard),
      publisher("subscribers", wires(), longestQueue),
      question(options.requests) {
    socket::setLimits(ofFollowers);
    // Who subscribes as soon as the service can be heard must not be too early.
    publisher.listen(options.publish);
    events.setQueueLength(longestQueue);
    events.setEntrance(tarn::socket::Entrance::OwnPrograms);
    events.createAndConnect(Protocol::Pull, options.events, 0);
    utils::logInfo(
        formatMessage("started: " + events.debugString() + ", " + publisher.debugString()));
}

void Gateway::run(os::SignalInput& signals) {
    const os::DescriptorSet otherInput{signals.descriptor(), publisher.descriptor(),
                                       question.descriptor()};
    int signal = 0;
    askWhenInDoubt();
    while (signal == 0 || signal == SIGUSR1) {
        const auto untilUpdate = publishDueUpdate();
        const auto bound = std::min(letIn(), untilUpdate.value_or(betweenReports));
        if (awaitBatch(otherInput.descriptor(), bound)) {
            handOn();
        }
        takeAnswer();
        reportLosses(Clock::now());
        signal = signals.take();
        if (signal != 0) {
            report();
        }
    }
    utils::logInfo(formatMessage("ended"));
}

// Gives how long to wait for other input before more can be let in.
std::chrono::milliseconds Gateway::letIn() {
    if (publisher.hasAnnouncements() && pace.remaining(Clock::now()) == 0ms) {
        if (relay.bytesForUpdate() > 0) {
            publishUpdate();  // newcomers are told where the others are
        }
        takeAnnouncements();
    }
    const auto now = Clock::now();
    return publisher.hasAnnouncements() ? pace.remaining(now) : untilNextReport(now);
}

std::chrono::milliseconds Gateway::untilNextReport(Clock::time_point now) const {
    return std::max(0ms, std::chrono::ceil<std::chrono::milliseconds>(nextReport - now));
}

// The newcomers among them share one first message for each wire.
void Gateway::takeAnnouncements() {
    FirstMessages first;
    for (int i = 0; i < announcementsInARow; ++i) {
        const auto announcement = publisher.nextAnnouncement();
        if (announcement == CatchUpPublisher::Announcement::None) {
            break;
        }
        if (isNewcomer(announcement)) {
            admit(first);
        }
    }
    welcome(first);
}

void Gateway::admit(FirstMessages& first) {
    const auto wire = publisher.wireOfAnnouncement();
    if (!first[wire]) {
        first[wire] = wire == ofUpdates ? relay.catchUpOfUpdates() : relay.catchUp();
    }
    publisher.admit(first[wire]->address);
    ++counters.catchUps;
}

void Gateway::welcome(const FirstMessages& first) {
    std::size_t bytes = 0;
    for (const auto& message : first) {
        if (message) {
            publisher.welcome(message->address, message->body);
            bytes += message->body.size();
        }
    }
    if (bytes > 0) {
        pace.admitted(bytes, Clock::now());
    }
}

bool Gateway::isNewcomer(CatchUpPublisher::Announcement announcement) {
    switch (announcement) {
        case CatchUpPublisher::Announcement::None:
            return false;
        case CatchUpPublisher::Announcement::Left:
            counters.subscribers -= counters.subscribers > 0 ? 1 : 0;
            return false;
        case CatchUpPublisher::Announcement::Again:
            ++counters.subscribers;
            return false;
        case CatchUpPublisher::Announcement::Came:
            ++counters.subscribers;
            return true;
        case CatchUpPublisher::Announcement::Unclear:
            break;
    }
    return true;
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
    if (relay.bytesForUpdate() > 0 && relay.bytesForUpdate() + batch.size() > largestUpdate) {
        publishUpdate();
    }
    const auto head = relay.accept(batch);
    if (!head) {
        noteDropped(events.debugString() + ": a message of " + std::to_string(batch.size()) +
                    " bytes that is no batch of the service");
        return;
    }
    ++counters.batchesIn;
    counters.bytesIn += batch.size();
    publish(*head, batch);
    askWhenInDoubt();
}

void Gateway::publish(std::string_view head, std::string_view batch) {
    publishOn(ofBatches, head, batch);
    ++counters.batchesOut;
    counters.bytesOut += head.size() + batch.size();
    if (relay.bytesForUpdate() > 0 && updatePace.remaining(Clock::now()) == 0ms) {
        publishUpdate();
    }
}

void Gateway::publishUpdate() {
    const auto update = relay.takeUpdate();
    publishOn(ofUpdates, update, {});
    counters.bytesOfUpdates += update.size();
    updatePace.published(Clock::now());
}

// Gives how long the next one waits still, if there is one.
std::optional<std::chrono::milliseconds> Gateway::publishDueUpdate() {
    if (relay.bytesForUpdate() == 0) {
        return std::nullopt;
    }
    const auto remaining = updatePace.remaining(Clock::now());
    if (remaining > 0ms) {
        return remaining;
    }
    publishUpdate();
    return std::nullopt;
}

void Gateway::publishOn(std::size_t wire, std::string_view head, std::string_view body) {
    if (publisher.publish(head, body, wire) == CatchUpPublisher::Delivery::SomeLost) {
        noteTooSlow();
    }
}

// While a question is under way no other is asked, but after its end, if there is another doubt by
// then. What it could not settle is asked again with the next batch.
void Gateway::askWhenInDoubt() {
    if (const auto doubt = relay.doubt(); doubt && question.ask()) {
        askedInDoubt = *doubt;
        ++counters.questions;
    }
}

void Gateway::takeAnswer() {
    const auto outcome = question.take();
    if (!outcome) {
        return;
    }
    const auto tree = treeOfAnswer(outcome->answer);
    if (!tree) {
        return noteUnanswered(outcome->failure.empty() ? "what came is no answer"
                                                       : outcome->failure);
    }
    if (const auto settlement = relay.settle(askedInDoubt, *tree)) {
        publish(settlement->head, settlement->tree);
    }
    if (relay.doubt() != askedInDoubt) {
        askWhenInDoubt();
    }
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

void Gateway::noteUnanswered(const std::string& reason) {
    if (const auto count = unansweredLines.occurred(Clock::now())) {
        utils::logWarning(formatMessage("the service could not be asked for its tree (" +
                                        std::to_string(*count) + " times): " + reason));
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
