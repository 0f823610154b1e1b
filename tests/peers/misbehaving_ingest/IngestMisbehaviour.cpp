#include "tests/peers/misbehaving_ingest/IngestMisbehaviour.h"

#include <CLI/CLI.hpp>
#include <map>

namespace tarn::test {

namespace {

const std::map<std::string, Answers> answerNames = {
    {"good", Answers::Good}, {"wrong-type", Answers::WrongType}, {"none", Answers::None}};

}  // namespace

std::optional<IngestMisbehaviour> parseIngestMisbehaviour(int argc, const char* const* argv,
                                                          int& exitStatus) {
    IngestMisbehaviour wish;
    double startAfter = 0;
    CLI::App app("An ingest service that captures nothing and misbehaves on purpose: for tests");
    peers::ingest_service::addCaptureOptions(app, wish.order);
    app.add_option("--endpoint", wish.endpoint, "Monitoring endpoint")->required();
    app.add_option("--event-endpoint", wish.eventEndpoint, "Told as it is");
    app.add_flag_callback(
        "--ignore-stop", [&] { wish.stop = StopCommand::Ignored; },
        "Acknowledges the stop command, and SIGTERM, and goes on");
    app.add_option("--answers", wish.answers, "good, wrong-type, none")
        ->transform(CLI::CheckedTransformer(answerNames));
    app.add_flag_callback(
        "--no-description", [&] { wish.descriptions = Descriptions::NotGiven; },
        "Answers everything else");
    app.add_flag_callback(
        "--die-at-once", [&] { wish.life = Life::EndsAtOnce; }, "With status 1");
    app.add_option("--start-after", startAfter, "Answers nothing for so many seconds");
    app.add_option("--pid", wish.pid, "\"own\", \"none\", or what the property is to hold");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        exitStatus = app.exit(end);
        return std::nullopt;
    }
    wish.startAfter = std::chrono::milliseconds(static_cast<long>(startAfter * 1000));
    return wish;
}

}  // namespace tarn::test
