// What devices send to the service by themselves: through the real door, listener and manager. What
// is let in leaves a tree that everybody can read, and that is told as it is.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "fuzz/inputs.pb.h"
#include "fuzz/support/DeviceTreeBed.h"
#include "fuzz/support/MessageMutator.h"

namespace {

using tarn::fuzz::DeviceEvents;

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t mostBytes, unsigned seed) {
    DeviceEvents input;
    return tarn::fuzz::mutateBytes(input, data, size, mostBytes, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    DeviceEvents input;
    input.ParsePartialFromArray(data, static_cast<int>(size));
    tarn::fuzz::DeviceTreeBed bed;
    for (const auto& event : input.event()) {
        bed.receive(event.told().SerializePartialAsString() + event.raw());
    }
    bed.checkTree();
    return 0;
}
