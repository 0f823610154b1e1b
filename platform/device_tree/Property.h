#pragma once

#include <cstdint>
#include <string>

#include "proto/monitoring.fwd.h"

namespace tarn::device_tree {

/// Something that a device is or has. A value.
struct Property {
    enum class Type : std::uint32_t { Text = 0 };

    Property(std::string name, Type type, std::string value);
    explicit Property(const tarn::proto::monitoring::Property& message);

    tarn::proto::monitoring::Property toProtoBuf() const;
    friend bool operator==(const Property&, const Property&) = default;

    std::string name;
    Type type = Type::Text;
    std::string value;
};

}  // namespace tarn::device_tree
