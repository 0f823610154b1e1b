#include "tests/peers/misbehaving_device/Misbehaviour.h"

#include <CLI/CLI.hpp>
#include <map>

namespace tarn::test {

namespace {

const std::map<std::string, Replies> replyNames = {{"good", Replies::Good},
                                                   {"wrong-type", Replies::WrongType},
                                                   {"failure", Replies::Failure},
                                                   {"silence", Replies::Silence},
                                                   {"garbage", Replies::Garbage}};

}  // namespace

std::optional<Misbehaviour> parseMisbehaviour(int argc, const char* const* argv, int& exitStatus) {
    Misbehaviour wish;
    unsigned delayMs = 0;
    unsigned intervalMs = 1000;
    CLI::App app("A device that misbehaves on purpose: for tests");
    app.add_option("--endpoint", wish.endpoint, "Monitoring endpoint")->required();
    app.add_option("--event-endpoint", wish.eventEndpoint, "Told as it is, even if it is none");
    app.add_option("--id", wish.id, "Of the device");
    app.add_option("--replies", wish.replies, "good, wrong-type, failure, silence, garbage")
        ->transform(CLI::CheckedTransformer(replyNames));
    app.add_option("--good-replies", wish.goodReplies, "So many good replies come first");
    app.add_flag("--print-requests", wish.printsRequests, "A line for each, as it comes");
    app.add_option("--delay", delayMs, "Before every reply, in milliseconds");
    app.add_option("--dies-after", wish.diesAfter, "Killed at the next request after so many");
    app.add_option("--nodes", wish.nodes, "In its subtree, itself included")
        ->check(CLI::Range(1, 1'000'000));
    app.add_flag_callback(
        "--repeat-ids", [&] { wish.ids = Ids::Repeated; },
        "Every sub-device has the device's own id");
    app.add_option("--levels", wish.levels, "Of the device that it describes");
    app.add_option("--bytes", wish.bytes, "In the device that it describes");
    app.add_option("--fit-after", wish.fitAfter, "So many requests --levels and --bytes are over");
    app.add_option("--event-levels", wish.eventLevels, "Sends an event with a device so deep");
    app.add_option("--event-bytes", wish.eventBytes, "Sends an event with a device so large");
    app.add_option("--event-type", wish.eventTypes, "Sends events of these types, by number");
    app.add_flag_callback(
        "--garbage-events", [&] { wish.noise = Noise::Garbage; }, "Sends bytes that are no event");
    app.add_option("--flood", wish.floodRate, "Sends so many status changes a second");
    app.add_option("--seed", wish.seed, "Changes its tree at random, and prints every state");
    app.add_option("--changes", wish.changes, "So often; then it prints DONE and stays");
    app.add_option("--interval", intervalMs, "Between changes and events, in milliseconds")
        ->check(CLI::Range(1, 3'600'000));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        exitStatus = app.exit(end);
        return std::nullopt;
    }
    wish.delay = std::chrono::milliseconds(delayMs);
    wish.interval = std::chrono::milliseconds(intervalMs);
    return wish;
}

}  // namespace tarn::test
