#include "tests/chaos/machine/VanishingHost.h"

#include <stdexcept>

#include "tests/support/Process.h"

namespace tarn::chaos {

namespace {

test::ProcessResult changeAddress(const std::string& verb) {
    return test::runProcess(
        {"ip", "address", verb, std::string(VanishingHost::address) + "/32", "dev", "lo"});
}

}  // namespace

VanishingHost::VanishingHost() {
    const auto result = changeAddress("add");
    if (result.exitStatus != 0) {
        throw std::runtime_error("no other host: " + result.err);
    }
}

VanishingHost::~VanishingHost() {
    changeAddress("del");
}

}  // namespace tarn::chaos
