#pragma once

#include <string_view>

#include "platform/utils/MessageFields.h"

namespace tarn::device_tree {

/// A sub-device in the bytes of its parent's message.
struct SubDeviceField {
    std::string_view field;    ///< all of it
    std::string_view content;  ///< the sub-device's message
};

/// Finds the sub-devices in a node's message, which is one of our own making.
class SubDeviceFields {
  public:
    /// The bytes must live as long as what is found in them.
    explicit SubDeviceFields(std::string_view message) : fields(message) {}

    /// The next one; there must be one.
    SubDeviceField next();

  private:
    tarn::utils::MessageFields fields;
};

}  // namespace tarn::device_tree
