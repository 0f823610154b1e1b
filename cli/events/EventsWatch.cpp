#include "cli/events/EventsWatch.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "cli/events/BatchText.h"
#include "cli/output/ClockTime.h"
#include "cli/output/Output.h"

namespace tarn::cli {

using proto::service_event::ServiceEvent;
using proto::service_event::ServiceEventBatch;
using Mode = EventsOptions::Mode;

EventsWatch::EventsWatch(const EventsOptions& options, const Session& session)
    : options(options), session(session) {}

BatchListener::Wanted EventsWatch::batch(const ServiceEventBatch& batch,
                                         const BatchSequence::Finding& finding) {
    const Events events = chosen(batch);
    count += events.size();
    if (session.format == Format::Text) {
        writeLines(events);
    } else if (options.mode == Mode::Some) {
        gathered.insert(gathered.end(), events.begin(), events.end());
    } else if (!events.empty() || finding.mayHaveMissed()) {
        session.output.documentLine(batchDocument(batch, finding.lost, events, nullptr));
        session.output.flush();
    }
    return missing() == 0 ? Wanted::Enough : Wanted::More;
}

void EventsWatch::notice(const std::string& text) {
    session.output.notice(text);
}

void EventsWatch::conclude() {
    if (session.format == Format::Json && options.mode == Mode::Some) {
        session.output.document({{"events", eventsDocument(gathered)}});
    }
}

EventsWatch::Events EventsWatch::chosen(const ServiceEventBatch& batch) const {
    Events events;
    for (const ServiceEvent& event : batch.events()) {
        const bool matches = options.types.empty() ||
                             std::find(options.types.begin(), options.types.end(), event.type()) !=
                                 options.types.end();
        if (matches && events.size() < missing()) {
            events.push_back(event);
        }
    }
    return events;
}

std::uint64_t EventsWatch::missing() const {
    const auto wanted = options.count.value_or(
        options.mode == Mode::Some ? 1 : std::numeric_limits<std::uint64_t>::max());
    return wanted - count;
}

void EventsWatch::writeLines(const Events& events) {
    const std::string now = clockTime(std::chrono::system_clock::now());
    for (const ServiceEvent& event : events) {
        session.output.line(now + "  " + eventText(event));
    }
    session.output.flush();
}

}  // namespace tarn::cli
