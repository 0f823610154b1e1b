#include "peers/ingest_service/IngestOptions.h"

#include <CLI/CLI.hpp>
#include <map>
#include <stdexcept>

#include "platform/program/CommandLine.h"

namespace tarn::peers::ingest_service {

using socket::SocketEndpoint;

namespace {

const std::map<std::string, Substitute> substituteNames = {{"bars", Substitute::Bars},
                                                           {"black", Substitute::Black},
                                                           {"freeze", Substitute::Freeze},
                                                           {"nothing", Substitute::Nothing}};

// The path of a socket has to fit into its address, with the channel's part behind the prefix.
std::string checkPrefix(const std::string& text) {
    constexpr std::size_t longest = 80;
    const bool fits = text.size() <= longest && text.starts_with('/') && !text.ends_with('/');
    return fits ? "" : "an absolute path of at most 80 characters is expected";
}

CaptureFormat existing(const CaptureFormat& format) {
    if (const auto problem = problemOf(format); !problem.empty()) {
        throw std::invalid_argument(problem);
    }
    return format;
}

// One of three.
void addSourceOptions(CLI::App& app, IngestOptions& options) {
    auto* const device = app.add_option("--device-prefix", options.devicePrefix,
                                        "Channel 0 is captured from PREFIX0, if that is a device");
    device->capture_default_str();
    auto* const picture = app.add_flag_callback(
        "--test-picture", [&options] { options.devicePrefix.clear(); }, "Captures from no device");
    picture->excludes(device);
    app.add_option("--source", options.source,
                   "What a channel is captured from instead: live elements in the launch syntax of "
                   "GStreamer, in which %channel stands for its number")
        ->excludes(device)
        ->excludes(picture);
}

}  // namespace

void addCaptureOptions(CLI::App& app, CaptureOrder& order) {
    app.add_option("pixel-format,--pixel-format", order.format.pixelFormat, "uyvy422_8 or rgb24")
        ->capture_default_str();
    app.add_option("board0-input-list,--board0-input-list", order.inputList,
                   "Channel numbers, separated by blanks")
        ->capture_default_str();
    app.add_option("board0-input-frameoffset,--board0-input-frameoffset", order.frameOffsets,
                   "The frame offset of each channel, likewise")
        ->capture_default_str();
    app.add_option("line-count,--line-count", order.format.lineCount, "488, 576, 720 or 1080")
        ->capture_default_str();
    app.add_option("field-mode,--field-mode", order.format.fieldMode, "i, p or psf")
        ->capture_default_str();
    app.add_option("frame-rate,--frame-rate", order.format.frameRate,
                   "23976, 24, 25, 2997, 30, 50, 5994 or 60 (2997 is 29.97)")
        ->capture_default_str();
}

std::optional<IngestOptions> parseIngestOptions(program::CommandLine& line) {
    IngestOptions options;
    options.endpoints = {SocketEndpoint::FromString("ipc:///tmp/deltacast"),
                         SocketEndpoint::FromString("ipc:///tmp/deltacast-events")};
    CaptureOrder order;
    CLI::App app("Captures SDI channels and offers each as frames in shared memory");
    addCaptureOptions(app, order);
    addDeviceOptions(app, options.endpoints);
    app.add_option("--socket-prefix", options.socketPrefix,
                   "Channel 0 is offered at PREFIX-channel-0, and so on")
        ->check(checkPrefix)
        ->capture_default_str();
    addSourceOptions(app, options);
    app.add_option("--without-signal", options.substitute,
                   "What is offered while a device gives nothing: bars, black, freeze (its last "
                   "frame), nothing")
        ->transform(CLI::CheckedTransformer(substituteNames))
        ->option_text("TEXT [bars]");
    app.add_option("--lost-after", options.patience,
                   "So many frame times without a frame are a lost signal")
        ->check(CLI::Range(2U, 1000U))
        ->capture_default_str();
    app.footer("Exit status: 0 told to stop, 1 failed, 2 usage, or a format that does not exist.");
    const bool good = line.parse(app, [&] {
        options.format = existing(order.format);
        options.channels = parseChannels(order.inputList, order.frameOffsets);
    });
    return good ? std::optional(std::move(options)) : std::nullopt;
}

}  // namespace tarn::peers::ingest_service
