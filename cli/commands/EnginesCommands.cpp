#include <CLI/CLI.hpp>
#include <cstdint>
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
    return show(
        session, [&] { return toJson(reply); },
        [&](Output& output) {
            output.fields({{"Commands", reply.first_engine_endpoint()},
                           {"Events", reply.second_engine_endpoint()},
                           {"Third", reply.third_engine_endpoint()},
                           {"Fourth", reply.fourth_engine_endpoint()}});
        });
}

void addOptions(CLI::App& line, EngineOptions& engine) {
    line.add_option("--name", engine.name, "What operators call the engine")->required();
    line.add_option("--settings", engine.settings, "What it does: a GStreamer launch line")
        ->required();
    line.add_option("--option", engine.option, "A number that is handed on to the engine");
}

}  // namespace

Command enginesFamily() {
    return {.name = "engines",
            .purpose = "Submit engines",
            .footer =
                "Example:\n"
                "  tarnctl engines submit --name mixer --settings 'audiotestsrc ! "
                "autoaudiosink'"};
}

Command engineSubmitCommand() {
    return {.name = "submit",
            .purpose = "Hand the service an engine to launch",
            .footer =
                "The engine is accepted when this returns, and may not play yet.\n"
                "Example:\n"
                "  tarnctl engines submit --name mixer --settings 'audiotestsrc ! "
                "autoaudiosink'",
            .prepare = with(addOptions, submitEngine)};
}

}  // namespace tarn::cli
