#include "peers/loop_storage/StorageError.h"

#include <system_error>

namespace tarn::peers::loop_storage {

namespace {

bool isFullDisk(const std::error_code& code) {
    return code == std::errc::no_space_on_device || code == std::errc::file_too_large ||
           code == std::error_code(EDQUOT, std::generic_category());
}

}  // namespace

tarn_storage_error_type typeOf(const std::exception& failure) {
    if (const auto* const known = dynamic_cast<const StorageError*>(&failure)) {
        return known->type();
    }
    const auto* const system = dynamic_cast<const std::system_error*>(&failure);
    return system != nullptr && isFullDisk(system->code()) ? TARN_STORAGE_ERROR_NO_SPACE
                                                           : TARN_STORAGE_ERROR_SERVER;
}

}  // namespace tarn::peers::loop_storage
