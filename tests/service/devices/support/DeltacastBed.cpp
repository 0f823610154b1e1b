#include "tests/service/devices/support/DeltacastBed.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

namespace tarn::test {

namespace {

/// `inputs`: the default list; nothing for no service.
std::string sectionsOf(const std::string& file, const std::optional<std::string>& inputs) {
    std::string sections = "<Paths><PersistentDeltacastConfigurationFile>" + file +
                           "</PersistentDeltacastConfigurationFile></Paths>";
    if (file.empty()) {
        sections.clear();
    }
    if (inputs) {
        sections +=
            "<DeltacastService><CommandLine>ingest %pixel-format '%board0-input-list' "
            "'%board0-input-frameoffset' %line-count %field-mode %frame-rate</CommandLine>"
            "<DefaultPixelFormat>uyvy422_8</DefaultPixelFormat>"
            "<DefaultBoard0InputList>" +
            *inputs +
            "</DefaultBoard0InputList>"
            "<DefaultBoard0InputFrameOffsetList>0</DefaultBoard0InputFrameOffsetList>"
            "<DefaultLineCount>1080</DefaultLineCount><DefaultFieldMode>i</DefaultFieldMode>"
            "<DefaultFrameRate>25</DefaultFrameRate></DeltacastService>";
    }
    return sections;
}

std::optional<std::string> inputsOf(DeltacastBed::Services services) {
    switch (services) {
        case DeltacastBed::Services::None:
            return std::nullopt;
        case DeltacastBed::Services::One:
            return "0";
        case DeltacastBed::Services::OneThatCannotBeFilled:
            return "0 %board0-input-list";
    }
    return std::nullopt;
}

}  // namespace

DeltacastBed::Listener::Listener()
    : DeviceEventListener([]() -> service::devices::DeviceManager& {
          throw std::logic_error("there is no manager");
      }) {}

DeltacastBed::DeltacastBed(Persistence persistence, Services services)
    : file(persistence == Persistence::File ? (folder.path() / "format").string() : ""),
      bed(sectionsOf(file, inputsOf(services))) {
    processes.waitWith(pause.function());
}

DeltacastBed::Controller::Dependencies DeltacastBed::dependencies() {
    return {.listener = listener,
            .configuration = bed.configuration,
            .resourceManager = bed.proxy,
            .processes = processes,
            .runShell = bed.shell(),
            .pause = pause.function(),
            .now = [this] { return std::chrono::steady_clock::time_point(time.load()); },
            .answerWithin = answerWithin,
            .launchRecord = launchRecord};
}

void DeltacastBed::watch() {
    controller.emplace(device.endpoint(), dependencies());
    pause.await();
}

std::chrono::milliseconds DeltacastBed::pass() {
    time = time.load() + pause.await();
    return pause.next();
}

void DeltacastBed::watchLiving() {
    device.begin();
    watch();
}

std::string DeltacastBed::line(const std::string& level, const std::string& text) const {
    return level + " DeltacastDeviceController on " + device.endpoint() + " > " + text;
}

long DeltacastBed::count(const std::string& level, const std::string& text) const {
    const auto lines = log.lines();
    return std::count(lines.begin(), lines.end(), line(level, text));
}

std::vector<std::string> DeltacastBed::lines() const {
    const std::string mark = " DeltacastDeviceController on " + device.endpoint() + " > ";
    std::vector<std::string> texts;
    for (const auto& full : log.lines()) {
        if (const auto at = full.find(mark); at != std::string::npos) {
            texts.push_back(full.substr(at + mark.size()));
        }
    }
    return texts;
}

std::vector<std::string> DeltacastBed::linesFrom(const std::string& text) const {
    auto texts = lines();
    texts.erase(texts.begin(), std::find(texts.begin(), texts.end(), text));
    return texts;
}

}  // namespace tarn::test
