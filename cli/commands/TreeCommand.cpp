#include <CLI/CLI.hpp>
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

struct ShownTree {
    TreeOptions tree;
    EventSource source{.trees = UpdateSubscription::Trees::Wanted};
    bool watch = false;
};

ExitStatus showTree(const TreeOptions& options, const Session& session) {
    const DeviceNode root = session.service.deviceTree();
    const DeviceNode* const device = shownDevice(root, options);
    if (device == nullptr) {
        throw CommandError(ExitStatus::Failed, "no device " + options.id);
    }
    return show(
        session,
        [&] {
            return nlohmann::ordered_json{{"device_tree", toJson(*device)}};
        },
        [&](Output& output) { output.drawing(drawTree(*device, options.details)); });
}

ExitStatus watchTree(const ShownTree& options, const Session& session) {
    const Interrupt interrupt;
    TreeWatch watch(options.tree, session);
    return followBatches(options.source, Ending::OnInterrupt, session.service, watch, interrupt);
}

ExitStatus showOrWatch(const ShownTree& options, const Session& session) {
    return options.watch ? watchTree(options, session) : showTree(options.tree, session);
}

void addOptions(CLI::App& command, ShownTree& options) {
    command.add_option("ID", options.tree.id, "Only this device and what is below it");
    command.add_flag_callback(
        "--properties", [&options] { options.tree.details = Details::StatusesAndProperties; },
        "Also show the devices' properties");
    auto* watch = command.add_flag("--watch", options.watch,
                                   "Show the tree again at every change, until Ctrl-C");
    addEventsEndpoint(command, options.source)->needs(watch);
}

}  // namespace

Command treeCommand() {
    return {
        .name = "tree",
        .purpose = "Draw the tree of devices with their statuses",
        .footer =
            "With --watch the changes come from the gateway. With --json each change is one line.\n"
            "Examples:\n"
            "  tarnctl tree\n"
            "  tarnctl tree --watch host-monitor\n"
            "  tarnctl tree --json | jq '.device_tree.sub_devices[].global_status'",
        .prepare = with(addOptions, showOrWatch)};
}

}  // namespace tarn::cli
