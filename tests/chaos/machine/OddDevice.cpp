#include "tests/chaos/machine/OddDevice.h"

namespace tarn::chaos {

namespace {

constexpr auto id = "Odd";

// Deeper than any parser reads, and larger than the listener reads.
std::vector<std::string> optionsOf(OddDevice::Mode mode) {
    switch (mode) {
        case OddDevice::Mode::DeepDescription:
            return {"--levels", "97"};
        case OddDevice::Mode::LargeDescription:
            return {"--bytes", "12000000"};
        case OddDevice::Mode::DeepEvent:
            return {"--event-levels", "97"};
        case OddDevice::Mode::LargeEvent:
            return {"--event-bytes", "12000000"};
        case OddDevice::Mode::Fit:
            break;
    }
    return {};
}

}  // namespace

std::vector<std::string> OddDevice::command() const {
    std::vector<std::string> words = {TARN_MISBEHAVING_DEVICE,
                                      "--endpoint",
                                      places.odd,
                                      "--event-endpoint",
                                      places.oddEvents,
                                      "--id",
                                      id,
                                      "--nodes",
                                      "2",
                                      "--interval",
                                      "3600000"};
    const auto options = optionsOf(mode);
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

void OddDevice::addTo(Devices& devices) const {
    devices.nodes.insert(id);
    if (mode == Mode::DeepDescription || mode == Mode::LargeDescription) {
        devices.inError.insert(id);
    } else {
        devices.nodes.insert(std::string(id) + ".1");
    }
}

const char* OddDevice::describe(Mode mode) {
    switch (mode) {
        case Mode::Fit:
            return "it was fit";
        case Mode::DeepDescription:
            return "its description was too deep";
        case Mode::LargeDescription:
            return "its description was too large";
        case Mode::DeepEvent:
            return "its event was too deep";
        case Mode::LargeEvent:
            return "its event was too large";
    }
    return "";
}

}  // namespace tarn::chaos
