#include "tests/service/devices/support/ProtocolBed.h"

#include <stdexcept>

namespace tarn::test {

ProtocolBed::Listener::Listener()
    : DeviceEventListener([]() -> service::devices::DeviceManager& {
          throw std::logic_error("there is no manager");
      }) {}

ProtocolBed::Controller::Dependencies ProtocolBed::dependencies() {
    return {listener, pause.function(), answerWithin};
}

void ProtocolBed::watch() {
    controller.emplace(device.endpoint(), dependencies());
    pause.await();
}

void ProtocolBed::watchLiving() {
    device.begin();
    watch();
}

std::vector<Event::Type> ProtocolBed::events(std::size_t count) {
    std::vector<Event::Type> types;
    for (const auto& event : recorder.waitFor(count)) {
        types.push_back(event.type());
    }
    return types;
}

std::string ProtocolBed::line(const std::string& level, const std::string& text) const {
    return level + " TarnProtocolDeviceController on " + device.endpoint() + " > " + text;
}

}  // namespace tarn::test
