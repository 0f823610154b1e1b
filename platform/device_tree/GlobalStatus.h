#pragma once

#include <cstdint>
#include <string>

#include "proto/monitoring.fwd.h"

namespace tarn::device_tree {

/// How a device is, all in all. A value.
struct GlobalStatus {
    enum class Level : std::uint32_t { Unknown = 0, Ok = 1, Warning = 2, Error = 3 };

    GlobalStatus() = default;
    GlobalStatus(Level level, std::string description);
    explicit GlobalStatus(const tarn::proto::monitoring::GlobalStatus& message);

    tarn::proto::monitoring::GlobalStatus toProtoBuf() const;
    friend bool operator==(const GlobalStatus&, const GlobalStatus&) = default;

    Level level = Level::Unknown;
    std::string description;
};

}  // namespace tarn::device_tree
