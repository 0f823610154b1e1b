#include <nlohmann/json.hpp>

#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/output/DeviceWords.h"
#include "cli/output/Json.h"
#include "cli/output/Output.h"
#include "cli/output/Table.h"
#include "proto/monitoring.pb.h"

namespace tarn::cli {

using nlohmann::ordered_json;
using proto::monitoring::DeviceNode;

namespace {

ordered_json documentOf(const DeviceNode& root) {
    ordered_json list = ordered_json::array();
    for (const DeviceNode& device : root.sub_devices()) {
        DeviceNode itself;
        itself.set_id(device.id());
        itself.set_name(device.name());
        itself.set_device_class(device.device_class());
        *itself.mutable_global_status() = device.global_status();
        list.push_back(toJson(itself));
    }
    return {{"devices", std::move(list)}};
}

Table tableOf(const DeviceNode& root) {
    Table table({"ID", "NAME", "CLASS", "STATUS"});
    for (const DeviceNode& device : root.sub_devices()) {
        table.add({device.id(), device.name(), classText(device.device_class()),
                   globalStatusText(device.global_status())});
    }
    return table;
}

ExitStatus listDevices(const Session& session) {
    const DeviceNode root = session.service.deviceTree();
    return show(
        session, [&] { return documentOf(root); },
        [&](Output& output) { output.table(tableOf(root), "no devices"); });
}

}  // namespace

Command devicesCommand() {
    return {
        .name = "devices",
        .purpose = "List the devices that the service watches",
        .footer =
            "Those that do not answer are not in the list; tarnctl tree shows what is below each.\n"
            "Examples:\n"
            "  tarnctl devices\n"
            "  tarnctl devices --json | jq -r '.devices[].id'",
        .prepare = with(listDevices)};
}

}  // namespace tarn::cli
