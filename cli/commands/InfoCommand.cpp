#include <nlohmann/json.hpp>

#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/output/Json.h"
#include "cli/output/Output.h"
#include "cli/output/Table.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using proto::api_service::ServiceToApiReplyInfo;

namespace {

std::string storageText(const ServiceToApiReplyInfo& info) {
    if (!info.has_loop_storage_configuration()) {
        return "none";
    }
    const auto& storage = info.loop_storage_configuration();
    return storage.has_port() ? storage.address() + ":" + std::to_string(storage.port())
                              : storage.address();
}

void print(const ServiceToApiReplyInfo& info, Output& output) {
    output.fields({{"Service", info.service_name()},
                   {"Version", info.version()},
                   {"Events", info.events_endpoint()},
                   {"Host", info.host_name()},
                   {"Loop storage", storageText(info)},
                   {"Components", std::to_string(info.components_dictionary().components_size())}});
    if (info.components_dictionary().components_size() == 0) {
        return;
    }
    Table table({"COMPONENT", "VERSION", "KIND", "DESCRIPTION"});
    for (const auto& component : info.components_dictionary().components()) {
        table.add(
            {component.name(), component.version(), component.kind(), component.description()});
    }
    output.line("");
    output.table(table);
}

ExitStatus showInfo(const Session& session) {
    const ServiceToApiReplyInfo info = session.service.info();
    return show(
        session, [&] { return toJson(info); }, [&](Output& output) { print(info, output); });
}

}  // namespace

Command infoCommand() {
    return {.name = "info",
            .purpose = "Show what the service says of itself",
            .footer =
                "Examples:\n"
                "  tarnctl info\n"
                "  tarnctl --endpoint tcp://server:5555 --timeout 0.5 info --json",
            .prepare = with(showInfo)};
}

}  // namespace tarn::cli
