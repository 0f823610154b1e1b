#include <CLI/CLI.hpp>
#include <chrono>
#include <exception>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

#include "cli/CommandError.h"
#include "cli/client/ServiceClient.h"
#include "cli/commands/CaptureFormat.h"
#include "cli/commands/Commands.h"
#include "cli/output/Output.h"
#include "platform/os/Deadline.h"
#include "proto/api_service.pb.h"
#include "proto/deltacast_configuration.pb.h"

namespace tarn::cli {

using namespace std::chrono_literals;

namespace {

// The service takes the order in its next cycle, and gives the ingest service 5 s to stop and 10 s
// to start again.
constexpr auto longestChange = 15s;
constexpr auto betweenFormatLooks = 100ms;

struct SetOptions {
    int pixelFormat = 0;
    int lineCount = 0;
    int fieldMode = 0;
    int frameRate = 0;
    std::vector<std::string> inputs;
    bool wait = false;
};

using Capture = proto::api_service::ServiceToApiReplyGetDeltacast;

std::string problemOf(const Capture& capture) {
    return capture.problem().empty() ? "" : ": " + capture.problem();
}

std::string nameOf(const CaptureConfig& config) {
    return linesAndRate(config) + " " + pixelFormatOf(config) + ", inputs " + inputsOf(config);
}

std::string wordOf(Capture::State state) {
    switch (state) {
        case Capture::UNREACHABLE:
            return "not running";
        case Capture::STARTING:
            return "starting";
        case Capture::RUNNING:
            return "running";
        case Capture::UNKNOWN:
            break;
    }
    return "unknown";
}

// An older service says nothing of the state.
nlohmann::ordered_json documentOfCapture(const Capture& capture) {
    auto document = documentOf(capture.config());
    if (capture.has_state()) {
        document["state"] = wordOf(capture.state());
    }
    if (capture.has_problem()) {
        document["problem"] = capture.problem();
    }
    return document;
}

Fields fieldsOf(const Capture& capture) {
    Fields fields;
    if (capture.has_state()) {
        fields.emplace_back("State", wordOf(capture.state()) + problemOf(capture));
    }
    const auto& config = capture.config();
    fields.insert(fields.end(), {{"Format", linesAndRate(config)},
                                 {"Pixels", pixelFormatOf(config)},
                                 {"Inputs", inputsOf(config)}});
    return fields;
}

ExitStatus showCapture(const Session& session) {
    const Capture capture = session.service.capture();
    return show(
        session, [&] { return documentOfCapture(capture); },
        [&](Output& output) { output.fields(fieldsOf(capture)); });
}

CaptureConfig toMessage(const SetOptions& options) {
    CaptureConfig config;
    config.set_pixel_format(static_cast<CaptureConfig::PixelFormat>(options.pixelFormat));
    config.set_line_count(static_cast<CaptureConfig::LineCount>(options.lineCount));
    config.set_field_mode(static_cast<CaptureConfig::FieldMode>(options.fieldMode));
    config.set_frame_rate(static_cast<CaptureConfig::FrameRate>(options.frameRate));
    for (const auto& input : options.inputs) {
        addInput(config, input);
    }
    return config;
}

bool isSame(const CaptureConfig& a, const CaptureConfig& b) {
    return a.SerializeAsString() == b.SerializeAsString();
}

// Returns what is in force instead, or why that is not known; empty when the wanted format is.
std::string differenceTo(const CaptureConfig& wanted, ServiceClient& service) {
    try {
        const Capture capture = service.capture();
        if (!isSame(capture.config(), wanted)) {
            return "in force is " + nameOf(capture.config());
        }
        const bool runs = !capture.has_state() || capture.state() == Capture::RUNNING;
        return runs ? "" : "the ingest service is " + wordOf(capture.state()) + problemOf(capture);
    } catch (const CommandError& e) {
        if (e.status() == ExitStatus::NoAnswer) {
            throw;
        }
        return e.what();
    }
}

void waitUntilInForce(const CaptureConfig& wanted, ServiceClient& service) {
    const os::Deadline deadline(longestChange);
    for (auto difference = differenceTo(wanted, service); !difference.empty();
         difference = differenceTo(wanted, service)) {
        if (deadline.hasPassed()) {
            throw CommandError(ExitStatus::Failed,
                               nameOf(wanted) + " is not in force after 15 s: " + difference);
        }
        std::this_thread::sleep_for(betweenFormatLooks);
    }
}

ExitStatus setCapture(const SetOptions& options, const Session& session) {
    const CaptureConfig wanted = toMessage(options);
    session.service.configureCapture(wanted);
    if (options.wait) {
        waitUntilInForce(wanted, session.service);
    }
    const char* const state = options.wait ? "in force" : "accepted";
    return show(
        session,
        [&] {
            auto document = documentOf(wanted);
            document["state"] = state;
            return document;
        },
        [&](Output& output) { output.line(nameOf(wanted) + ": " + state); });
}

std::string checkInput(const std::string& text) {
    try {
        CaptureConfig config;
        addInput(config, text);
        return "";
    } catch (const std::invalid_argument& e) {
        return e.what();
    }
}

void addWord(CLI::App& command, const std::string& name, int& value, const CaptureWords& words,
             const std::string& meaning) {
    std::string list;
    for (const auto& [word, number] : words) {
        list += (list.empty() ? "" : ", ") + word;
    }
    command
        .add_option_function<std::string>(
            name,
            [&value, words, name, list](const std::string& given) {
                for (const auto& [word, number] : words) {
                    if (word == given) {
                        value = number;
                        return;
                    }
                }
                throw CLI::ValidationError(name, "only " + list + " are possible");
            },
            meaning + ": " + list)
        ->required();
}

void addOptions(CLI::App& line, SetOptions& options) {
    addWord(line, "--pixel-format", options.pixelFormat, pixelFormatWords(), "Pixels");
    addWord(line, "--line-count", options.lineCount, lineCountWords(), "Lines");
    addWord(line, "--field-mode", options.fieldMode, fieldModeWords(),
            "Interlaced, progressive or segmented");
    addWord(line, "--frame-rate", options.frameRate, frameRateWords(),
            "Frames a second, where 2997 is 29.97");
    line.add_option("--input", options.inputs,
                    "A channel and its frame offset, 0 unless given; once for each channel")
        ->type_name("CHANNEL[:OFFSET]")
        ->expected(1)
        ->take_all()
        ->required()
        ->check(checkInput, "");
    line.add_flag("--wait", options.wait, "Return when the format is in force, or after 15 s");
}

}  // namespace

Command captureFamily() {
    return {.name = "capture",
            .purpose = "Show and change the capture format",
            .footer =
                "Examples:\n"
                "  tarnctl capture show\n"
                "  tarnctl capture set --pixel-format uyvy422_8 --line-count 1080 "
                "--field-mode i \\\n"
                "      --frame-rate 25 --input 0"};
}

Command captureShowCommand() {
    return {.name = "show",
            .purpose = "Show the capture format in force",
            .footer =
                "What the ingest service last said of itself, also when it does not run any "
                "more: its state says so then.\n"
                "Example:\n"
                "  tarnctl capture show",
            .prepare = with(showCapture)};
}

Command captureSetCommand() {
    return {.name = "set",
            .purpose = "Have the ingest service restarted with another format",
            .footer =
                "The format is accepted when this returns without --wait, and may not be in "
                "force yet.\n"
                "Example:\n"
                "  tarnctl capture set --pixel-format uyvy422_8 --line-count 720 "
                "--field-mode p \\\n"
                "      --frame-rate 50 --input 0 --input 1:-1 --wait",
            .prepare = with(addOptions, setCapture)};
}

}  // namespace tarn::cli
