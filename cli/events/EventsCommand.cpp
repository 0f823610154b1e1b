#include <CLI/CLI.hpp>
#include <map>

#include "cli/CommandError.h"
#include "cli/Interrupt.h"
#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/events/EventSource.h"
#include "cli/events/EventsWatch.h"

namespace tarn::cli {

using proto::service_event::ServiceEvent;
using Mode = EventsOptions::Mode;

namespace {

struct ShownEvents {
    EventsOptions events;
    EventSource source;
};

ExitStatus showEvents(const ShownEvents& options, const Session& session) {
    const Interrupt interrupt;
    EventsWatch watch(options.events, session);
    const Ending ending =
        options.events.mode == Mode::Follow ? Ending::OnInterrupt : Ending::AtTimeout;
    const ExitStatus status =
        followBatches(options.source, ending, session.service, watch, interrupt);
    watch.conclude();
    if (status == ExitStatus::NoAnswer) {
        throw CommandError(
            status, watch.shown() == 0 ? "no such event in time" : "not so many events in time");
    }
    return status;
}

void addOptions(CLI::App& command, ShownEvents& options) {
    command.add_flag_callback(
        "--follow", [&options] { options.events.mode = Mode::Follow; }, "Show them until Ctrl-C");
    command.add_option("--type", options.events.types, "Only events of this type; may be repeated")
        ->allow_extra_args(false)
        ->transform(CLI::CheckedTransformer(
            std::map<std::string, int>{{"added", ServiceEvent::DEVICE_ADDED},
                                       {"removed", ServiceEvent::DEVICE_REMOVED},
                                       {"changed", ServiceEvent::DEVICE_CHANGED}},
            CLI::ignore_case));
    command.add_option("--count", options.events.count, "End after so many events")
        ->check(CLI::PositiveNumber);
    addEventsEndpoint(command, options.source);
    command.add_flag_callback(
        "--bind", [&options] { options.source.from = EventSource::From::Service; },
        "Be the receiver of the service's events where there is no gateway; to be "
        "started before the service");
}

}  // namespace

Command eventsCommand() {
    return {.name = "events",
            .purpose = "Show what happens to devices",
            .footer =
                "Without --follow it waits for one event, or --count of them, for the time-out at "
                "most.\n"
                "With --json they are one document, and with --follow one line a batch.\n"
                "Examples:\n"
                "  tarnctl events --follow\n"
                "  tarnctl events --type removed --count 2 --timeout 60",
            .prepare = with(addOptions, showEvents)};
}

}  // namespace tarn::cli
