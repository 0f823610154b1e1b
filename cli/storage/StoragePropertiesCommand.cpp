#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/OptionChecks.h"
#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/output/Output.h"
#include "cli/output/Table.h"
#include "cli/storage/StorageOptions.h"
#include "proto/loop_storage.pb.h"

namespace tarn::cli {

using namespace proto::loop_storage;

namespace {

struct PropertiesOptions {
    std::int64_t id = 0;
    std::vector<std::string> set;     ///< N=V
    std::vector<std::string> remove;  ///< names
};

void setProperties(const PropertiesOptions& options, ServiceClient& service) {
    Request request;
    request.set_type(Request::SET_TRACK_PROPERTIES);
    auto& content = *request.MutableExtension(SetTrackPropertiesRequest::base);
    content.set_track_id(options.id);
    for (const auto& text : options.set) {
        const auto equals = text.find('=');
        auto& property = *content.add_properties();
        property.set_name(text.substr(0, equals));
        property.set_value(text.substr(equals + 1));
    }
    service.operateStorage(request);
}

void removeProperties(const PropertiesOptions& options, ServiceClient& service) {
    Request request;
    request.set_type(Request::REMOVE_TRACK_PROPERTIES);
    auto& content = *request.MutableExtension(RemoveTrackPropertiesRequest::base);
    content.set_track_id(options.id);
    content.mutable_names()->Assign(options.remove.begin(), options.remove.end());
    service.operateStorage(request);
}

GetTrackPropertiesReply askProperties(std::int64_t id, ServiceClient& service) {
    Request request;
    request.set_type(Request::GET_TRACK_PROPERTIES);
    request.MutableExtension(GetTrackPropertiesRequest::base)->set_track_id(id);
    return service.operateStorage(request).GetExtension(GetTrackPropertiesReply::base);
}

nlohmann::ordered_json documentOf(std::int64_t id, const GetTrackPropertiesReply& answer) {
    auto properties = nlohmann::ordered_json::object();
    for (const auto& property : answer.properties()) {
        properties[property.name()] = property.value();
    }
    return {{"track_id", std::to_string(id)}, {"properties", std::move(properties)}};
}

void print(const GetTrackPropertiesReply& answer, Output& output) {
    Table table({"NAME", "VALUE"});
    for (const auto& property : answer.properties()) {
        table.add({property.name(), property.value()});
    }
    output.table(table, "no properties");
}

/// Changes what is to be changed, and tells what is then there.
ExitStatus treatProperties(const PropertiesOptions& options, const Session& session) {
    if (!options.set.empty()) {
        setProperties(options, session.service);
    }
    if (!options.remove.empty()) {
        removeProperties(options, session.service);
    }
    const auto answer = askProperties(options.id, session.service);
    return show(
        session, [&] { return documentOf(options.id, answer); },
        [&](Output& output) { print(answer, output); });
}

void addOptions(CLI::App& command, PropertiesOptions& options) {
    addTrackOption(command, options.id);
    command.require_subcommand(0, 1);
    command.add_subcommand("set", "Set properties; the others stay")
        ->add_option("N=V", options.set, "A name and its value")
        ->required()
        ->check(checkProperty);
    command.add_subcommand("remove", "Remove properties")
        ->add_option("N", options.remove, "A name")
        ->required();
}

}  // namespace

Command storagePropertiesCommand() {
    return {.name = "properties",
            .purpose = "Show, set and remove the properties of a track",
            .footer =
                "Examples:\n"
                "  tarnctl storage properties 3\n"
                "  tarnctl storage properties 3 set Name=studio Camera=2\n"
                "  tarnctl storage properties 3 remove Camera",
            .prepare = with(addOptions, treatProperties)};
}

}  // namespace tarn::cli
