#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/CommandError.h"
#include "cli/Interrupt.h"
#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/events/EventSource.h"
#include "cli/events/TreeWatch.h"
#include "cli/output/Json.h"
#include "cli/output/Output.h"

namespace tarn::cli {

using proto::monitoring::DeviceNode;

namespace {

struct Options {
    TreeOptions tree;
    EventSource source;
    bool watch = false;
    bool properties = false;
};

ExitStatus showTree(const TreeOptions& options, const Session& session) {
    const DeviceNode root = session.service.deviceTree();
    const DeviceNode* const device = shownDevice(root, options);
    if (device == nullptr) {
        throw CommandError(ExitStatus::Failed, "no device " + options.id);
    }
    if (session.format == Format::Json) {
        session.output.document({{"device_tree", toJson(*device)}});
    } else {
        session.output.drawing(drawTree(*device, options.details));
    }
    return ExitStatus::Done;
}

ExitStatus watchTree(const Options& options, const Session& session) {
    const Interrupt interrupt;
    TreeWatch watch(options.tree, session);
    return followBatches(options.source, Ending::OnInterrupt, session.service, watch, interrupt);
}

void addOptions(CLI::App& command, Options& options) {
    command.add_option("ID", options.tree.id, "Only this device and what is below it");
    command.add_flag("--properties", options.properties, "Also show the devices' properties");
    auto* watch = command.add_flag("--watch", options.watch,
                                   "Show the tree again at every change, until Ctrl-C");
    addEventsEndpoint(command, options.source)->needs(watch);
}

}  // namespace

void addTreeCommand(CLI::App& app, Action& chosen) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("tree", "Draw the tree of devices with their statuses");
    addOptions(*command, *options);
    command->footer(
        "With --watch the changes come from the gateway. With --json each change is one line.\n"
        "Examples:\n"
        "  tarnctl tree\n"
        "  tarnctl tree --watch host-monitor\n"
        "  tarnctl tree --json | jq '.device_tree.sub_devices[].global_status'");
    command->callback([options, &chosen] {
        options->tree.details =
            options->properties ? Details::StatusesAndProperties : Details::Statuses;
        chosen = [options](const Session& session) {
            return options->watch ? watchTree(*options, session) : showTree(options->tree, session);
        };
    });
}

}  // namespace tarn::cli
