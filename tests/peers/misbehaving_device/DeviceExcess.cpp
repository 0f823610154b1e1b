#include "tests/peers/misbehaving_device/DeviceExcess.h"

#include <string>

#include "proto/monitoring.pb.h"

namespace tarn::test {

void deepen(tarn::proto::monitoring::DeviceNode& device, unsigned levels) {
    auto* innermost = &device;
    for (unsigned level = 2; level <= levels; ++level) {
        innermost = innermost->add_sub_devices();
        innermost->set_id(device.id() + " level " + std::to_string(level));
        innermost->set_name("Level");
    }
}

void enlarge(tarn::proto::monitoring::DeviceNode& device, std::size_t bytes) {
    if (bytes > 0) {
        auto& padding = *device.add_properties();
        padding.set_name("padding");
        padding.set_value(std::string(bytes, 'x'));
    }
}

}  // namespace tarn::test
