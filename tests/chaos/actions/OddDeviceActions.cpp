#include "tests/chaos/Chaos.h"

namespace tarn::chaos {

void Chaos::changeOddDevice() {
    const auto mode = static_cast<OddDevice::Mode>(below(OddDevice::modes));
    machine.changeOddDevice(mode);
    ++counts[std::string("odd device: ") + OddDevice::describe(mode)];
}

}  // namespace tarn::chaos
