#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/output/Json.h"
#include "cli/output/Output.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

namespace {

struct EngineOptions {
    std::string name;
    std::string settings;
    std::int32_t option = 0;
};

proto::api_service::ApiToServiceRequestEngineSubmission toMessage(const EngineOptions& engine) {
    proto::api_service::ApiToServiceRequestEngineSubmission message;
    message.set_engine_name(engine.name);
    message.set_engine_settings(engine.settings);
    message.set_engine_option(engine.option);
    return message;
}

ExitStatus submitEngine(const EngineOptions& engine, const Session& session) {
    const auto reply = session.service.submitEngine(toMessage(engine));
    if (session.format == Format::Json) {
        session.output.document(toJson(reply));
    } else {
        session.output.fields({{"Commands", reply.first_engine_endpoint()},
                               {"Events", reply.second_engine_endpoint()},
                               {"Third", reply.third_engine_endpoint()},
                               {"Fourth", reply.fourth_engine_endpoint()}});
    }
    return ExitStatus::Done;
}

void addSubmit(CLI::App& engines, Action& chosen) {
    const auto engine = std::make_shared<EngineOptions>();
    CLI::App* command = engines.add_subcommand("submit", "Hand the service an engine to launch");
    command->add_option("--name", engine->name, "What operators call the engine")->required();
    command->add_option("--settings", engine->settings, "What it does: a GStreamer launch line")
        ->required();
    command->add_option("--option", engine->option, "A number that is handed on to the engine");
    command->footer(
        "The engine is accepted when this returns, and may not play yet.\n"
        "Example:\n"
        "  tarnctl engines submit --name mixer --settings 'audiotestsrc ! autoaudiosink'");
    command->callback([engine, &chosen] {
        chosen = [engine](const Session& session) { return submitEngine(*engine, session); };
    });
}

}  // namespace

void addEnginesCommands(CLI::App& app, Action& chosen) {
    CLI::App* engines = app.add_subcommand("engines", "Submit engines");
    engines->require_subcommand(1);
    engines->footer(
        "Example:\n"
        "  tarnctl engines submit --name mixer --settings 'audiotestsrc ! autoaudiosink'");
    addSubmit(*engines, chosen);
}

}  // namespace tarn::cli
