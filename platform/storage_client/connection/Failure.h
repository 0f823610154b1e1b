#pragma once

#include <stdexcept>
#include <string>

#include "platform/storage_client/tarn_storage.h"

namespace tarn::storage_client {

/// What a call failed with; becomes the caller's error object at the library's edge.
class Failure : public std::runtime_error {
  public:
    Failure(tarn_storage_error_type type, const std::string& message)
        : std::runtime_error(message), kind(type) {}
    tarn_storage_error_type type() const { return kind; }

  private:
    tarn_storage_error_type kind;
};

}  // namespace tarn::storage_client
