#include "tests/service/devices/DeltacastBed.h"

#include <algorithm>
#include <stdexcept>

namespace tarn::test {

namespace {

std::string sectionsOf(const std::string& file, bool withService) {
    std::string sections = "<Paths><PersistentDeltacastConfigurationFile>" + file +
                           "</PersistentDeltacastConfigurationFile></Paths>";
    if (file.empty()) {
        sections.clear();
    }
    if (withService) {
        sections +=
            "<DeltacastService><CommandLine>ingest %pixel-format '%board0-input-list' "
            "'%board0-input-frameoffset' %line-count %field-mode %frame-rate</CommandLine>"
            "<DefaultPixelFormat>uyvy422_8</DefaultPixelFormat>"
            "<DefaultBoard0InputList>0</DefaultBoard0InputList>"
            "<DefaultBoard0InputFrameOffsetList>0</DefaultBoard0InputFrameOffsetList>"
            "<DefaultLineCount>1080</DefaultLineCount><DefaultFieldMode>i</DefaultFieldMode>"
            "<DefaultFrameRate>25</DefaultFrameRate></DeltacastService>";
    }
    return sections;
}

}  // namespace

DeltacastBed::Listener::Listener()
    : DeviceEventListener([]() -> service::devices::DeviceManager& {
          throw std::logic_error("there is no manager");
      }) {}

DeltacastBed::DeltacastBed(Persistence persistence, Services services)
    : file(persistence == Persistence::File ? (folder.path() / "format").string() : ""),
      bed(sectionsOf(file, services == Services::One)) {
    processes.waitWith(pause.function());
}

DeltacastBed::Controller::Surroundings DeltacastBed::surroundings() {
    const auto noTimePasses = [] { return std::chrono::steady_clock::time_point(); };
    return {listener,    bed.configuration, bed.proxy,    processes,
            bed.shell(), pause.function(),  noTimePasses, answerWithin};
}

void DeltacastBed::watch() {
    controller.emplace(device.endpoint(), surroundings());
    pause.await();
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
