#include "peers/loop_storage/ring/BootId.h"

#include <cerrno>
#include <string>
#include <system_error>

#include "platform/os/SmallFile.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr auto bootIdFile = "/proc/sys/kernel/random/boot_id";

}  // namespace

// Half of the digits are as good as all of them; the dashes are no digits.
BootId readBootId() {
    constexpr std::size_t digitsAndDashes = 36;
    auto text = os::readBeginning(bootIdFile, digitsAndDashes).value_or("");
    std::erase(text, '-');
    BootId id{};
    if (text.size() < id.size()) {
        throw std::system_error(ENODATA, std::generic_category(), bootIdFile);
    }
    text.copy(id.data(), id.size());
    return id;
}

}  // namespace tarn::peers::loop_storage
