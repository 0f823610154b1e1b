#include "tests/system/capture/CaptureBed.h"

#include <signal.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/support/Eventually.h"
#include "tests/system/harness/Processes.h"

namespace tarn::test {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto programName = "KLN-SDI-Ingest-Service";
constexpr auto captureOptions =
    " --pixel-format %pixel-format --board0-input-list '%board0-input-list'"
    " --board0-input-frameoffset '%board0-input-frameoffset' --line-count %line-count"
    " --field-mode %field-mode --frame-rate %frame-rate";

// Of living processes, but not of the shell that launches one.
std::vector<pid_t> idsOf(const std::string& program) {
    std::vector<pid_t> ids;
    for (const auto& process : processesRunning(program)) {
        if (!process.command.starts_with("sh ") &&
            process.command.find("gst-launch") == std::string::npos) {
            ids.push_back(process.id);
        }
    }
    return ids;
}

std::vector<std::string> entriesOf(const fs::path& folder, const std::string& beginning) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().filename().string().starts_with(beginning)) {
            names.push_back(entry.path().filename().string());
        }
    }
    return names;
}

}  // namespace

void CaptureBed::configureIngest() const {
    configureIngest(ingestProgram);
}

void CaptureBed::configureIngest(const std::string& commandLine,
                                 const std::string& formatFile) const {
    configureSections(
        "<Paths><PersistentDeltacastConfigurationFile>" + formatFile +
        "</PersistentDeltacastConfigurationFile></Paths>"
        "<TarnProtocolDevice type=\"Deltacast\"><MonitoringInterface>" +
        endpoint +
        "</MonitoringInterface></TarnProtocolDevice>"
        "<DeltacastService><CommandLine>" +
        commandLine + captureOptions +
        "</CommandLine><DefaultPixelFormat>uyvy422_8</DefaultPixelFormat>"
        "<DefaultBoard0InputList>0</DefaultBoard0InputList>"
        "<DefaultBoard0InputFrameOffsetList>0</DefaultBoard0InputFrameOffsetList>"
        "<DefaultLineCount>1080</DefaultLineCount><DefaultFieldMode>i</DefaultFieldMode>"
        "<DefaultFrameRate>25</DefaultFrameRate></DeltacastService>");
}

void CaptureBed::configureMisbehaving(const std::string& options) const {
    configureIngest(builtProgram("misbehavingIngest") + " --endpoint " + endpoint + " " + options);
}

void CaptureBed::TearDown() {
    if (service().isRunning()) {
        EXPECT_EQ(service().stop(), Ending::exited(0));
        EXPECT_TRUE(service().log().contains("Service terminated"));
    }
    for (const auto id : ingestProcesses()) {
        ::kill(id, SIGTERM);
    }
    for (const auto id : misbehavingProcesses()) {
        ::kill(id, SIGKILL);
        EXPECT_TRUE(eventually([] { return misbehavingProcesses().empty(); }));
        fs::remove("/tmp/deltacast");
    }
    SystemTest::TearDown();
    EXPECT_EQ(sharedMemory(), std::vector<std::string>());
    EXPECT_EQ(entriesOf("/tmp", programName), std::vector<std::string>());
}

std::unique_ptr<Process> CaptureBed::startIngest(const std::vector<std::string>& options) {
    std::vector<std::string> command = {ingestProgram};
    command.insert(command.end(), options.begin(), options.end());
    auto ingest = std::make_unique<Process>(command);
    EXPECT_TRUE(ingest->output().waitFor("answers on", 0).has_value());
    return ingest;
}

namespace {

std::vector<std::string> setCommand(const std::vector<std::string>& lines,
                                    const std::vector<std::string>& inputs) {
    std::vector<std::string> command = {"capture",      "set",    "--pixel-format", "uyvy422_8",
                                        "--line-count", lines[0], "--field-mode",   lines[1],
                                        "--frame-rate", lines[2]};
    for (const auto& input : inputs) {
        command.insert(command.end(), {"--input", input});
    }
    return command;
}

}  // namespace

ProcessResult CaptureBed::orderFormat(const Lines& lines, const std::vector<std::string>& inputs) {
    return tarnctl(setCommand({lines.count, lines.fieldMode, lines.rate}, inputs));
}

ProcessResult CaptureBed::setFormat(const Lines& lines, const std::vector<std::string>& inputs) {
    auto command = setCommand({lines.count, lines.fieldMode, lines.rate}, inputs);
    command.emplace_back("--wait");
    return tarnctl(command);
}

std::string CaptureBed::format() {
    const auto run = tarnctl({"capture", "show", "--json"});
    if (run.exitStatus != 0) {
        return run.err;
    }
    const auto document = nlohmann::json::parse(run.out);
    std::string inputs;
    for (const auto& input : document["inputs"]) {
        const auto offset = input["frame_offset"].get<int>();
        inputs += (inputs.empty() ? "" : ", ") + input["channel"].dump() +
                  (offset == 0 ? "" : ":" + std::to_string(offset));
    }
    return document["line_count"].dump() + document["field_mode"].get<std::string>() +
           document["frame_rate"].dump() + " " + document["pixel_format"].get<std::string>() + " " +
           inputs;
}

void CaptureBed::emptyAsByAReboot() {
    for (const auto* const folder : {"/run", "/dev/shm"}) {
        for (const auto& entry : fs::directory_iterator(folder)) {
            fs::remove_all(entry.path());
        }
    }
    for (const auto& entry : fs::directory_iterator("/tmp")) {
        if (entry.is_socket() || entry.path().filename().string().starts_with(programName)) {
            fs::remove(entry.path());
        }
    }
}

std::string CaptureBed::channelSocket(unsigned channel) {
    return std::string("/tmp/") + programName + "-channel-" + std::to_string(channel);
}

// Who describes himself already may still be a moment away from offering his first frame.
std::uintmax_t CaptureBed::frameSize(unsigned channel) {
    const auto file = "/tmp/frame";
    const bool hasFrame = eventually([&] {
        return runProcess({"gst-launch-1.0", "-q", "shmsrc", "num-buffers=1",
                           "socket-path=" + channelSocket(channel), "!", "filesink",
                           std::string("location=") + file})
                   .exitStatus == 0;
    });
    return hasFrame ? fs::file_size(file) : 0;
}

std::unique_ptr<Process> CaptureBed::startReader(unsigned channel) {
    return std::make_unique<Process>(std::vector<std::string>{
        "gst-launch-1.0", "shmsrc", "socket-path=" + channelSocket(channel), "!", "fakesink"});
}

std::vector<pid_t> CaptureBed::ingestProcesses() {
    return idsOf(std::string("/") + programName + " ");
}

std::vector<pid_t> CaptureBed::misbehavingProcesses() {
    return idsOf("/misbehavingIngest ");
}

std::vector<std::string> CaptureBed::sharedMemory() {
    return entriesOf("/dev/shm", "");
}

std::size_t CaptureBed::descriptorsOf(pid_t process) {
    return entriesOf("/proc/" + std::to_string(process) + "/fd", "").size();
}

}  // namespace tarn::test
