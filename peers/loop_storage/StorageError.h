#pragma once

#include <stdexcept>
#include <string>

#include "platform/storage_client/tarn_storage.h"

namespace tarn::peers::loop_storage {

/// Why a request was refused or an operation failed, as the client is told.
class StorageError : public std::runtime_error {
  public:
    StorageError(tarn_storage_error_type type, const std::string& message)
        : std::runtime_error(message), kind(type) {}
    tarn_storage_error_type type() const { return kind; }

  private:
    tarn_storage_error_type kind;
};

/// NO_SPACE when the exception is of a full disk, a quota or a limit of the file size; otherwise
/// its own type, or SERVER.
tarn_storage_error_type typeOf(const std::exception& failure);

}  // namespace tarn::peers::loop_storage
